#include <libheif/heif.h>

#include <algorithm>
#include <string>
#include <vector>

#include "imaging/ColourProfile.h"
#include "imaging/PictureReader.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"

// The main picture of HEIC, HEIF and AVIF files. The library turns it as the file asks; an
// orientation among its EXIF says the same once more and does not count.

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

// 16-bit samples hold as many bits as the file has; white is to be the highest number.
void copyDeepRow(const unsigned char* from, int samples, int bits, unsigned short* to) {
    const unsigned highest = (1U << bits) - 1U;
    for (int i = 0; i < samples; ++i) {
        const unsigned value = std::min(highest, from[2 * i] | unsigned{from[2 * i + 1]} << 8U);
        to[i] = static_cast<unsigned short>((value * 65535U + highest / 2) / highest);
    }
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
        description_.width = heif_image_handle_get_width(opened);
        description_.height = heif_image_handle_get_height(opened);
        bits_ = heif_image_handle_get_luma_bits_per_pixel(opened);
        description_.format.alpha = heif_image_handle_has_alpha_channel(opened) != 0;
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

    [[nodiscard]] Image decode() override;

    template <typename Sample>
    [[nodiscard]] Image copy(const heif_image* image) const;

    std::filesystem::path path_;
    std::vector<unsigned char> bytes_;
    Context context_;
    Handle handle_;
    int bits_ = 8;
};

Image HeifReader::decode() {
    const bool deep = description_.format.type == SampleType::uint16;
    const bool alpha = description_.format.alpha;
    const heif_chroma kind =
        deep ? (alpha ? heif_chroma_interleaved_RRGGBBAA_LE : heif_chroma_interleaved_RRGGBB_LE)
             : (alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB);
    heif_image* decoded = nullptr;
    if (!succeeds(heif_decode_image(handle_.get(), &decoded, heif_colorspace_RGB, kind, nullptr))) {
        return {};
    }
    const HeifImage image(decoded);
    return deep ? copy<unsigned short>(decoded) : copy<unsigned char>(decoded);
}

template <typename Sample>
Image HeifReader::copy(const heif_image* image) const {
    const int width = heif_image_get_width(image, heif_channel_interleaved);
    const int height = heif_image_get_height(image, heif_channel_interleaved);
    const int bits = heif_image_get_bits_per_pixel_range(image, heif_channel_interleaved);
    int stride = 0;
    const unsigned char* plane =
        heif_image_get_plane_readonly(image, heif_channel_interleaved, &stride);
    if (plane == nullptr || width <= 0 || height <= 0 || bits <= 0 || bits > 16) return {};
    PixelBuffer buffer(width, height, description_.format);
    buffer.description().colourProfile = description_.colourProfile;
    const int samples = width * description_.format.samples();
    const bool multiplied =
        description_.format.alpha && heif_image_handle_is_premultiplied_alpha(handle_.get()) != 0;
    for (int y = 0; y < height; ++y) {
        const unsigned char* from = plane + std::ptrdiff_t{y} * stride;
        auto* to = buffer.row<Sample>(y);
        if constexpr (sizeof(Sample) == 1) {
            std::copy_n(from, samples, to);
        } else {
            copyDeepRow(from, samples, bits, to);
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
