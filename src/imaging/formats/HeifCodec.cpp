// SPDX-License-Identifier: GPL-3.0-or-later
#include <libheif/heif.h>

#include <algorithm>
#include <string>
#include <vector>

#include "imaging/formats/Formats.h"
#include "imaging/formats/HeifOrientation.h"
#include "imaging/formats/HeifProfile.h"
#include "imaging/formats/IsoMedia.h"
#include "imaging/formats/OpenedPicture.h"
#include "platform/ByteOrder.h"
#include "platform/FileDescriptor.h"

// The main picture of HEIC, HEIF and AVIF files. The library turns it as the file's own
// transformations ask; an orientation among its EXIF says the same once more and does not count.
// But it cannot mirror more than 8 bits, and it turns the colours alone where alpha does not name
// the turn as well (then it even forgets alpha whose sides are exchanged with the turned colours').
// Such pictures are read as they are stored, and turned here. Alpha that names the turn itself,
// though, the library turns in any case, so that nobody can mirror deep pictures with such alpha.

namespace lumaweave {

namespace {

template <typename Type, void (*release)(Type*)>
struct Release {
    void operator()(Type* object) const { release(object); }
};
using Context = std::unique_ptr<heif_context, Release<heif_context, heif_context_free>>;
void releaseHandle(heif_image_handle* handle) {
    heif_image_handle_release(handle);
}
using Handle = std::unique_ptr<heif_image_handle, Release<heif_image_handle, releaseHandle>>;
void releaseImage(heif_image* image) {
    heif_image_release(image);
}
using HeifImage = std::unique_ptr<heif_image, Release<heif_image, releaseImage>>;
using Options = std::unique_ptr<heif_decoding_options,
                                Release<heif_decoding_options, heif_decoding_options_free>>;

// Decoded samples, row by row.
struct Plane {
    const unsigned char* bytes;
    int stride;
    int width, height;
    int bits;

    [[nodiscard]] bool isUsable() const {
        return bytes != nullptr && width > 0 && height > 0 && bits > 0 && bits <= 16;
    }
    [[nodiscard]] bool hasSizeOf(const Plane& other) const {
        return isUsable() && width == other.width && height == other.height;
    }

    // 16-bit samples hold as many bits as the file has; white becomes the highest number.
    template <typename Sample>
    void copyRow(int y, int samples, Sample* to) const {
        const unsigned char* from = bytes + std::ptrdiff_t{y} * stride;
        if constexpr (sizeof(Sample) == 1) {
            if (bits == 8) {
                std::copy_n(from, samples, to);
                return;
            }
        }
        const unsigned highest = (1U << static_cast<unsigned>(bits)) - 1U;
        constexpr unsigned full = fullValue<Sample>();
        for (int i = 0; i < samples; ++i) {
            const unsigned stored =
                bits > 8 ? readNumber<std::uint16_t>(from + 2 * i, std::endian::little) : from[i];
            const unsigned value = std::min(highest, stored);
            to[i] = static_cast<Sample>((value * full + highest / 2) / highest);
        }
    }
};

Plane planeOf(const heif_image* image, heif_channel channel) {
    Plane plane = {};
    if (image == nullptr) return plane;
    plane.width = heif_image_get_width(image, channel);
    plane.height = heif_image_get_height(image, channel);
    plane.bits = heif_image_get_bits_per_pixel_range(image, channel);
    plane.bytes = heif_image_get_plane_readonly(image, channel, &plane.stride);
    return plane;
}

// Colours that were multiplied by their alpha, divided by it again.
template <typename Sample>
void divideByAlpha(Sample* row, int width) {
    constexpr unsigned full = fullValue<Sample>();
    for (int x = 0; x < width; ++x, row += 4) {
        const unsigned alpha = row[3];
        for (int s = 0; s < 3 && alpha != 0; ++s) {
            const std::uint64_t value = (std::uint64_t{row[s]} * full + alpha / 2) / alpha;
            row[s] = static_cast<Sample>(std::min<std::uint64_t>(value, full));
        }
    }
}

class HeifPicture : public WholePicture {
  public:
    explicit HeifPicture(const PictureFile& file)
        : path_(file.path), bytes_(file.descriptor.size()), context_(heif_context_alloc()) {
        if (!file.descriptor.readAt(0, bytes_.data(), bytes_.size())) bytes_.clear();
    }

    Outcome open() {
        Outcome opening = outcomeOf(heif_context_read_from_memory_without_copy(
            context_.get(), bytes_.data(), bytes_.size(), nullptr));
        if (!opening) return opening;
        heif_image_handle* opened = nullptr;
        opening = outcomeOf(heif_context_get_primary_image_handle(context_.get(), &opened));
        if (!opening) return opening;
        handle_.reset(opened);
        describe();
        if (bits_ > 0 && bits_ <= 16) return {};
        return Failure{"its samples have an unknown number of bits"};
    }

  private:
    [[nodiscard]] Outcome outcomeOf(const heif_error& error) const {
        if (error.code == heif_error_Ok) return {};
        return refused(path_, error.message);
    }

    void describe();

    // A picture that goes with the main one; its handle is null where there is none.
    struct Companion {
        heif_item_id item = 0;
        Handle handle;
    };
    [[nodiscard]] Companion findAlpha() const;

    [[nodiscard]] bool isToBeTurnedHere(int orientation, const Companion& alpha) const {
        if (orientation == 1) return false;
        // The library always turns alpha that names a turn.
        if (alpha.handle) return heifOrientation(bytes_, alpha.item) == 1;
        const bool isMirrored =
            orientation == 2 || orientation == 4 || orientation == 5 || orientation == 7;
        return isMirrored && bits_ > 8;
    }

    [[nodiscard]] bool isOfStoredSize(const heif_image_handle* companion) const {
        return companion != nullptr &&
               heif_image_handle_get_ispe_width(companion) == description_.width &&
               heif_image_handle_get_ispe_height(companion) == description_.height;
    }
    Result<HeifImage> decode(const Handle& handle, heif_colorspace space, heif_chroma chroma) const;
    Result<Image> decode() override;

    template <typename Sample>
    [[nodiscard]] Image joined(const Plane& pixels, const Plane& alpha) const;

    std::filesystem::path path_;
    std::vector<unsigned char> bytes_;
    Context context_;
    Handle handle_;
    Handle forgottenAlpha_;
    int bits_ = 8;
    bool asStored_ = false;  // pixels come as they are stored, and orientation_ tells the turn
};

void HeifPicture::describe() {
    const heif_image_handle* handle = handle_.get();
    bits_ = heif_image_handle_get_luma_bits_per_pixel(handle);
    Companion alpha = findAlpha();
    const auto orientation = heifOrientation(bytes_);
    asStored_ = orientation && isToBeTurnedHere(*orientation, alpha);
    orientation_ = asStored_ ? *orientation : 1;
    description_.width =
        asStored_ ? heif_image_handle_get_ispe_width(handle) : heif_image_handle_get_width(handle);
    description_.height = asStored_ ? heif_image_handle_get_ispe_height(handle)
                                    : heif_image_handle_get_height(handle);
    description_.format.alpha = heif_image_handle_has_alpha_channel(handle) != 0;
    if (asStored_ && !description_.format.alpha && isOfStoredSize(alpha.handle.get())) {
        description_.format.alpha = true;
        forgottenAlpha_ = std::move(alpha.handle);
    }
    description_.format.type = bits_ > 8 ? SampleType::uint16 : SampleType::uint8;
    description_.colourProfile = heifProfileOf(handle);
}

HeifPicture::Companion HeifPicture::findAlpha() const {
    constexpr int filter = LIBHEIF_AUX_IMAGE_FILTER_OMIT_DEPTH;
    const heif_image_handle* main = handle_.get();
    std::vector<heif_item_id> items(
        static_cast<std::size_t>(heif_image_handle_get_number_of_auxiliary_images(main, filter)));
    heif_image_handle_get_list_of_auxiliary_image_IDs(main, filter, items.data(),
                                                      static_cast<int>(items.size()));
    for (const heif_item_id item : items) {
        heif_image_handle* opened = nullptr;
        const heif_error error = heif_image_handle_get_auxiliary_image_handle(main, item, &opened);
        Companion companion = {item, Handle(opened)};
        const char* type = nullptr;
        if (error.code != heif_error_Ok ||
            heif_image_handle_get_auxiliary_type(opened, &type).code != heif_error_Ok) {
            continue;
        }
        const std::string name = type;
        heif_image_handle_free_auxiliary_types(opened, &type);
        if (name == "urn:mpeg:mpegB:cicp:systems:auxiliary:alpha" ||
            name == "urn:mpeg:hevc:2015:auxid:1" || name == "urn:mpeg:avc:2015:auxid:1") {
            return companion;
        }
    }
    return {};
}

Result<HeifImage> HeifPicture::decode(const Handle& handle, heif_colorspace space,
                                      heif_chroma chroma) const {
    const Options options(heif_decoding_options_alloc());
    options->ignore_transformations = asStored_ ? 1 : 0;
    heif_image* decoded = nullptr;
    const Outcome decoding =
        outcomeOf(heif_decode_image(handle.get(), &decoded, space, chroma, options.get()));
    if (!decoding) return decoding.failure();
    return HeifImage(decoded);
}

Result<Image> HeifPicture::decode() {
    const bool deep = description_.format.type == SampleType::uint16;
    const bool alpha = description_.format.alpha && !forgottenAlpha_;
    const heif_chroma chroma =
        deep ? (alpha ? heif_chroma_interleaved_RRGGBBAA_LE : heif_chroma_interleaved_RRGGBB_LE)
             : (alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB);
    Result<HeifImage> image = decode(handle_, heif_colorspace_RGB, chroma);
    if (!image) return image.failure();
    Result<HeifImage> apart = HeifImage();
    if (forgottenAlpha_) {
        apart = decode(forgottenAlpha_, heif_colorspace_monochrome, heif_chroma_monochrome);
        if (!apart) return apart.failure();
    }
    const Plane pixels = planeOf(image->get(), heif_channel_interleaved);
    const Plane alphas = planeOf(apart->get(), heif_channel_Y);
    if (!pixels.isUsable() || (forgottenAlpha_ && !alphas.hasSizeOf(pixels))) {
        return Failure{"decoded into an unknown form"};
    }
    return deep ? joined<unsigned short>(pixels, alphas) : joined<unsigned char>(pixels, alphas);
}

// The pixels, with alpha where it comes apart from them.
template <typename Sample>
Image HeifPicture::joined(const Plane& pixels, const Plane& alpha) const {
    const int width = pixels.width;
    PixelBuffer buffer(width, pixels.height, description_.format);
    buffer.description().colourProfile = description_.colourProfile;
    const bool multiplied =
        description_.format.alpha && heif_image_handle_is_premultiplied_alpha(handle_.get()) != 0;
    std::vector<Sample> colours(forgottenAlpha_ ? 3 * static_cast<std::size_t>(width) : 0);
    std::vector<Sample> alphas(forgottenAlpha_ ? static_cast<std::size_t>(width) : 0);
    for (int y = 0; y < pixels.height; ++y) {
        auto* to = buffer.row<Sample>(y);
        if (forgottenAlpha_) {
            pixels.copyRow(y, 3 * width, colours.data());
            alpha.copyRow(y, width, alphas.data());
            for (std::size_t x = 0; x < alphas.size(); ++x) {
                std::copy_n(&colours[3 * x], 3, to + 4 * x);
                to[4 * x + 3] = alphas[x];
            }
        } else {
            pixels.copyRow(y, width * description_.format.samples(), to);
        }
        if (multiplied) divideByAlpha(to, width);
    }
    return std::move(buffer).finish();
}

OpenResult openHeif(const PictureFile& file) {
    auto picture = std::make_unique<HeifPicture>(file);
    if (Outcome opened = picture->open(); !opened) return opened.failure();
    return picture;
}

bool recognises(std::string_view head, const ReadBytes&) {
    return isoMediaOf(head) == IsoMedia::heif;
}

constexpr std::string_view endings[] = {"heic", "heif", "hif", "avif"};

}  // namespace

constinit const PhotoFormat heifFormat = {
    .name = "HEIF", .endings = endings, .recognises = recognises, .open = openHeif};

}  // namespace lumaweave
