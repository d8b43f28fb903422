#include "imaging/Conversion.h"

#include <lcms2.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "imaging/ColourProfile.h"
#include "imaging/PixelData.h"
#include "imaging/TiffWriter.h"
#include "platform/Log.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

// One sample as another type; exact where the other type holds it, the nearest one otherwise.
template <typename To, typename From>
To sampleAs(From value) {
    if constexpr (std::is_same_v<To, From>) return value;
    if constexpr (std::is_same_v<To, float>) {
        return static_cast<float>(value) / static_cast<float>(fullValue<From>());
    } else if constexpr (std::is_same_v<From, float>) {
        const auto full = static_cast<float>(fullValue<To>());
        // Written so that a value that is not a number becomes black.
        return value > 0 ? static_cast<To>(std::lround(std::min(value, 1.0F) * full)) : To{0};
    } else {
        constexpr unsigned fromFull = fullValue<From>();
        constexpr unsigned toFull = fullValue<To>();
        return static_cast<To>((std::uint64_t{value} * toFull + fromFull / 2) / fromFull);
    }
}

struct TransformCloser {
    void operator()(void* transform) const { cmsDeleteTransform(transform); }
};
using Transform = std::unique_ptr<void, TransformCloser>;

// From grey to RGB, floats both. None where the three colours are the grey itself.
Transform greyToRgb(const QByteArray& greyProfile, const QByteArray& rgbProfile) {
    if (greyProfile.isEmpty() && rgbProfile.isEmpty()) return nullptr;
    const QByteArray greyBytes = greyProfile.isEmpty() ? srgbGreyProfile() : greyProfile;
    const auto open = [](const QByteArray& bytes) {
        return cmsOpenProfileFromMem(bytes.constData(), static_cast<cmsUInt32Number>(bytes.size()));
    };
    cmsHPROFILE grey = open(greyBytes);
    cmsHPROFILE rgb = rgbProfile.isEmpty() ? cmsCreate_sRGBProfile() : open(rgbProfile);
    Transform transform(grey == nullptr || rgb == nullptr
                            ? nullptr
                            : cmsCreateTransform(grey, TYPE_GRAY_FLT, rgb, TYPE_RGB_FLT,
                                                 INTENT_RELATIVE_COLORIMETRIC,
                                                 cmsFLAGS_NOCACHE | cmsFLAGS_NOOPTIMIZE));
    if (grey != nullptr) cmsCloseProfile(grey);
    if (rgb != nullptr) cmsCloseProfile(rgb);
    if (!transform) Log("A grey picture's profile cannot be used: taken as grey of sRGB");
    return transform;
}

class RowConverter {
  public:
    RowConverter(const PixelData& source, const PixelFormat& target, const QByteArray& rgbProfile)
        : source_(source), target_(target) {
        if (target.colours != source.format.colours) {
            transform_ = greyToRgb(source.colourProfile, rgbProfile);
        }
    }

    template <typename From, typename To>
    void convert(int y, To* to) {
        const auto* from = source_.row<From>(y);
        if (transform_) makeColours(from);
        const int samples = source_.format.samples();
        for (int x = 0; x < source_.width; ++x, from += samples) {
            for (int s = 0; s < target_.colours; ++s) {
                const bool isGrey = source_.format.colours == 1;
                *to++ = transform_ ? sampleAs<To>(colours_[static_cast<std::size_t>(3 * x + s)])
                                   : sampleAs<To>(from[isGrey ? 0 : s]);
            }
            if (target_.alpha) *to++ = sampleAs<To>(from[source_.format.colours]);
        }
    }

  private:
    template <typename From>
    void makeColours(const From* from) {
        const auto width = static_cast<std::size_t>(source_.width);
        grey_.resize(width);
        colours_.resize(3 * width);
        for (std::size_t x = 0; x < width; ++x)
            grey_[x] =
                sampleAs<float>(from[x * static_cast<std::size_t>(source_.format.samples())]);
        cmsDoTransform(transform_.get(), grey_.data(), colours_.data(),
                       static_cast<cmsUInt32Number>(width));
    }

    const PixelData& source_;
    PixelFormat target_;
    Transform transform_;
    std::vector<float> grey_;
    std::vector<float> colours_;
};

bool writeRows(const PixelData& source, const PixelData& target, RowConverter& converter,
               const fs::path& path) {
    TiffStripWriter writer;
    if (!writer.open(path, target)) return false;
    std::vector<std::byte> strip(target.bytesPerRow() *
                                 static_cast<std::size_t>(writer.stripRows()));
    for (int top = 0; top < source.height; top += writer.stripRows()) {
        const int rows = std::min(writer.stripRows(), source.height - top);
        withSampleType(source.format.type, [&]<typename From>() {
            withSampleType(target.format.type, [&]<typename To>() {
                for (int i = 0; i < rows; ++i) {
                    converter.convert<From>(
                        top + i, reinterpret_cast<To*>(strip.data() + static_cast<std::size_t>(i) *
                                                                          target.bytesPerRow()));
                }
            });
        });
        if (!writer.writeStrip(strip.data(), rows)) return false;
    }
    return writer.close();
}

}  // namespace

bool writeConverted(const Image& image, SampleType type, bool toRgb, const QByteArray& rgbProfile,
                    const fs::path& path) {
    const PixelData& source = image.pixels();
    PixelData target = source;
    target.format.type = type;
    if (toRgb && source.format.colours == 1) {
        target.format.colours = 3;
        target.colourProfile = rgbProfile;
    }
    RowConverter converter(source, target.format, rgbProfile);
    // In the folder of the target, which it replaces in one step; a name that fits beside any
    // other.
    static std::atomic<unsigned> conversions = 0;
    const fs::path part = path.parent_path() / (".lumaweave-" + std::to_string(getpid()) + "-" +
                                                std::to_string(++conversions) + ".part");
    if (!writeRows(source, target, converter, part)) return false;
    std::error_code error;
    fs::rename(part, path, error);
    if (!error) return true;
    Log("Cannot write " + path.native() + ": " + error.message());
    fs::remove(part, error);
    return false;
}

}  // namespace lumaweave
