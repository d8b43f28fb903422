#include <libheif/heif.h>

#include <algorithm>
#include <string>
#include <vector>

#include "imaging/ColourProfile.h"
#include "imaging/HeifOrientation.h"
#include "imaging/PictureReader.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"

// The main picture of HEIC, HEIF and AVIF files. The library turns it as the file's own
// transformations ask; an orientation among its EXIF says the same once more and does not count.
// But it cannot mirror more than 8 bits, and it turns the colours alone where alpha does not name
// the turn as well (then it even forgets alpha whose sides are exchanged with the turned colours').
// Such pictures are read as they are stored, and turned here. Only alpha that names the turn itself
// is turned by the library whatever it is asked for, so that deep ones with such alpha cannot be
// mirrored at all.

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

struct ReleaseNclx {
    void operator()(heif_color_profile_nclx* profile) const {
        heif_nclx_color_profile_free(profile);
    }
};

// The profile that stands for the colours which the file names by number.
QByteArray profileOfNumbers(const heif_image_handle* handle) {
    heif_color_profile_nclx* read = nullptr;
    if (heif_image_handle_get_nclx_color_profile(handle, &read).code != heif_error_Ok) return {};
    const std::unique_ptr<heif_color_profile_nclx, ReleaseNclx> numbers(read);
    const auto tones = numbers->transfer_characteristics;
    if (tones == heif_transfer_characteristic_ITU_R_BT_2100_0_PQ ||
        tones == heif_transfer_characteristic_ITU_R_BT_2100_0_HLG) {
        Log("A picture for screens of high dynamic range is taken as one for usual screens");
    }
    switch (numbers->color_primaries) {
        case heif_color_primaries_SMPTE_EG_432_1:
            return profileOfPrimaries(displayP3Primaries);
        case heif_color_primaries_ITU_R_BT_2020_2_and_2100_0:
            return profileOfPrimaries(bt2020Primaries);
        default:
            return {};
    }
}

QByteArray profileOf(const heif_image_handle* handle) {
    const std::size_t size = heif_image_handle_get_raw_color_profile_size(handle);
    const heif_color_profile_type type = heif_image_handle_get_color_profile_type(handle);
    const bool isIcc = type == heif_color_profile_type_prof || type == heif_color_profile_type_rICC;
    if (!isIcc || size == 0) return profileOfNumbers(handle);
    QByteArray profile(static_cast<qsizetype>(size), '\0');
    if (heif_image_handle_get_raw_color_profile(handle, profile.data()).code != heif_error_Ok ||
        !isProfileOf("RGB ", profile.constData(), size)) {
        Log("Colour profile of another kind of picture passed over");
        return {};
    }
    return profile;
}

// Decoded samples, row by row.
struct Plane {
    const unsigned char* bytes;
    int stride;
    int width, height;
    int bits;

    [[nodiscard]] bool isUsable() const {
        return bytes != nullptr && width > 0 && height > 0 && bits > 0 && bits <= 16;
    }

    // 16-bit samples hold as many bits as the file has; white is to be the highest number.
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
            unsigned value = bits > 8 ? from[2 * i] | unsigned{from[2 * i + 1]} << 8U : from[i];
            value = std::min(highest, value);
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

class HeifReader : public WholePictureReader {
  public:
    explicit HeifReader(const PictureFile& file)
        : path_(file.path), bytes_(file.descriptor.size()), context_(heif_context_alloc()) {
        if (!file.descriptor.readAt(0, bytes_.data(), bytes_.size())) bytes_.clear();
    }

    [[nodiscard]] bool open() {
        if (!succeeds(heif_context_read_from_memory_without_copy(context_.get(), bytes_.data(),
                                                                 bytes_.size(), nullptr))) {
            return false;
        }
        heif_image_handle* opened = nullptr;
        if (!succeeds(heif_context_get_primary_image_handle(context_.get(), &opened))) return false;
        handle_.reset(opened);
        bits_ = heif_image_handle_get_luma_bits_per_pixel(opened);
        Companion alpha = findAlpha();
        const auto orientation = heifOrientation(bytes_);
        asStored_ = orientation && isToBeTurnedHere(*orientation, alpha);
        orientation_ = asStored_ ? *orientation : 1;
        description_.width = asStored_ ? heif_image_handle_get_ispe_width(opened)
                                       : heif_image_handle_get_width(opened);
        description_.height = asStored_ ? heif_image_handle_get_ispe_height(opened)
                                        : heif_image_handle_get_height(opened);
        description_.format.alpha = heif_image_handle_has_alpha_channel(opened) != 0;
        if (asStored_ && !description_.format.alpha && isOfStoredSize(alpha.handle.get())) {
            description_.format.alpha = true;
            forgottenAlpha_ = std::move(alpha.handle);
        }
        description_.format.type = bits_ > 8 ? SampleType::uint16 : SampleType::uint8;
        description_.colourProfile = profileOf(opened);
        return bits_ > 0 && bits_ <= 16;
    }

  private:
    [[nodiscard]] bool succeeds(const heif_error& error) const {
        if (error.code == heif_error_Ok) return true;
        Log(path_.native() + ": " + error.message);
        return false;
    }

    // A picture that goes with the main one; its handle is null where there is none.
    struct Companion {
        heif_item_id item = 0;
        Handle handle;
    };
    [[nodiscard]] Companion findAlpha() const;

    [[nodiscard]] bool isToBeTurnedHere(int orientation, const Companion& alpha) const {
        if (orientation == 1) return false;
        // Alpha that names a turn is always turned by the library.
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
    [[nodiscard]] HeifImage decode(const Handle& handle, heif_colorspace space,
                                   heif_chroma chroma) const;
    [[nodiscard]] Image decode() override;

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

HeifReader::Companion HeifReader::findAlpha() const {
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

// Null, with the reason in the log, when it cannot be decoded.
HeifImage HeifReader::decode(const Handle& handle, heif_colorspace space,
                             heif_chroma chroma) const {
    const Options options(heif_decoding_options_alloc());
    options->ignore_transformations = asStored_ ? 1 : 0;
    heif_image* decoded = nullptr;
    if (!succeeds(heif_decode_image(handle.get(), &decoded, space, chroma, options.get()))) {
        return nullptr;
    }
    return HeifImage(decoded);
}

Image HeifReader::decode() {
    const bool deep = description_.format.type == SampleType::uint16;
    const bool alpha = description_.format.alpha && !forgottenAlpha_;
    const heif_chroma chroma =
        deep ? (alpha ? heif_chroma_interleaved_RRGGBBAA_LE : heif_chroma_interleaved_RRGGBB_LE)
             : (alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB);
    const HeifImage image = decode(handle_, heif_colorspace_RGB, chroma);
    if (!image) return {};
    HeifImage apart;
    if (forgottenAlpha_) {
        apart = decode(forgottenAlpha_, heif_colorspace_monochrome, heif_chroma_monochrome);
        if (!apart) return {};
    }
    const Plane pixels = planeOf(image.get(), heif_channel_interleaved);
    const Plane alphas = planeOf(apart.get(), heif_channel_Y);
    return deep ? joined<unsigned short>(pixels, alphas) : joined<unsigned char>(pixels, alphas);
}

// The pixels, with alpha where it comes apart from them.
template <typename Sample>
Image HeifReader::joined(const Plane& pixels, const Plane& alpha) const {
    if (!pixels.isUsable()) return {};
    if (forgottenAlpha_ &&
        (!alpha.isUsable() || alpha.width != pixels.width || alpha.height != pixels.height)) {
        return {};
    }
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

}  // namespace

OpenedPicture openHeif(const PictureFile& file) {
    auto reader = std::make_unique<HeifReader>(file);
    return reader->open() ? std::move(reader) : nullptr;
}

}  // namespace lumaweave
