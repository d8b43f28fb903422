// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/tiff/Conversion.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <type_traits>
#include <vector>

#include "imaging/picture/ColourProfile.h"
#include "imaging/picture/LcmsLibrary.h"
#include "imaging/picture/PixelData.h"
#include "imaging/tiff/TiffWriter.h"
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

// Of floats. Null when a profile cannot be used.
LcmsTransform transformThrough(const QByteArray& fromProfile, int fromColours,
                               const QByteArray& toProfile, int toColours) {
    const auto layout = [](int colours) { return colours == 1 ? TYPE_GRAY_FLT : TYPE_RGB_FLT; };
    const LcmsProfile from = openProfileOf(fromProfile, fromColours);
    const LcmsProfile to = openProfileOf(toProfile, toColours);
    if (!from || !to) return nullptr;
    return LcmsTransform(cmsCreateTransform(from.get(), layout(fromColours), to.get(),
                                            layout(toColours), INTENT_RELATIVE_COLORIMETRIC,
                                            cmsFLAGS_NOCACHE | cmsFLAGS_NOOPTIMIZE));
}

// The conversion of a picture's colours; none where their numbers stay as they are.
LcmsTransform transformBetween(const PixelData& source, const PixelData& target) {
    const int from = source.format.colours;
    const int to = target.format.colours;
    if (from == to && meansTheSame(source.colourProfile, target.colourProfile)) return nullptr;
    if (source.colourProfile.isEmpty() && target.colourProfile.isEmpty()) return nullptr;
    LcmsTransform transform =
        transformThrough(source.colourProfile, from, target.colourProfile, to);
    if (!transform) {
        logLine("Colour profile not used: it cannot be read");
        transform = transformThrough({}, from, target.colourProfile, to);
    }
    return transform;
}

class RowConverter {
  public:
    RowConverter(const PixelData& source, const PixelData& target)
        : source_(source), target_(target.format), transform_(transformBetween(source, target)) {}

    template <typename From, typename To>
    void convert(int y, To* to) {
        const auto* from = source_.row<From>(y);
        if (transform_) makeColours(from);
        const int samples = source_.format.samples();
        const bool isGrey = source_.format.colours == 1;
        for (int x = 0; x < source_.width; ++x, from += samples) {
            for (int s = 0; s < target_.colours; ++s) {
                const int made = target_.colours * x + s;
                *to++ = transform_ ? sampleAs<To>(to_[static_cast<std::size_t>(made)])
                                   : sampleAs<To>(from[isGrey ? 0 : s]);
            }
            if (target_.alpha) *to++ = sampleAs<To>(from[source_.format.colours]);
        }
    }

  private:
    template <typename From>
    void makeColours(const From* from) {
        const auto width = static_cast<std::size_t>(source_.width);
        const auto colours = static_cast<std::size_t>(source_.format.colours);
        const auto samples = static_cast<std::size_t>(source_.format.samples());
        from_.resize(colours * width);
        to_.resize(static_cast<std::size_t>(target_.colours) * width);
        for (std::size_t x = 0; x < width; ++x) {
            for (std::size_t s = 0; s < colours; ++s)
                from_[colours * x + s] = sampleAs<float>(from[samples * x + s]);
        }
        cmsDoTransform(transform_.get(), from_.data(), to_.data(),
                       static_cast<cmsUInt32Number>(width));
    }

    const PixelData& source_;
    PixelFormat target_;
    LcmsTransform transform_;
    std::vector<float> from_;
    std::vector<float> to_;
};

// Some rows from `top` on, one behind the other.
void convertRows(RowConverter& converter, const PixelData& source, const PixelData& target, int top,
                 int count, std::byte* to) {
    withSampleType(source.format.type, [&]<typename From>() {
        withSampleType(target.format.type, [&]<typename To>() {
            for (int i = 0; i < count; ++i, to += target.bytesPerRow())
                converter.convert<From>(top + i, reinterpret_cast<To*>(to));
        });
    });
}

}  // namespace

Outcome writeConverted(const Image& image, const WantedPixels& wanted, const fs::path& path) {
    const PixelData& source = image.pixels();
    PixelData target = source;
    target.format.type = wanted.type;
    target.format.colours = std::max(wanted.colours, source.format.colours);
    target.colourProfile = wanted.colourProfile;
    RowConverter converter(source, target);
    TiffStripWriter writer;
    Outcome outcome = writer.open(path, target, Write::atomic);
    if (!outcome) return outcome;
    std::vector<std::byte> strip(target.bytesPerRow() *
                                 static_cast<std::size_t>(writer.stripRows()));
    for (int top = 0; top < source.height && outcome; top += writer.stripRows()) {
        const int rows = std::min(writer.stripRows(), source.height - top);
        convertRows(converter, source, target, top, rows, strip.data());
        outcome = writer.writeStrip(strip.data(), rows);
    }
    return outcome ? writer.close() : outcome;
}

}  // namespace lumaweave
