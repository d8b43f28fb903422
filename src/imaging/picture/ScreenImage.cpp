// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/picture/ScreenImage.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <type_traits>
#include <vector>

#include "imaging/picture/ColourProfile.h"
#include "imaging/picture/LcmsLibrary.h"
#include "imaging/picture/PixelData.h"
#include "platform/Log.h"

namespace lumaweave {

namespace {

template <typename Sample>
unsigned char toByte(Sample value) {
    if constexpr (std::is_same_v<Sample, unsigned char>) return value;
    if constexpr (std::is_same_v<Sample, unsigned short>) {
        // The nearest of all 256, as a division by 65535 and rounding would give it.
        return static_cast<unsigned char>((value * 255U + 32895U) >> 16U);
    }
    // Written so that a value that is not a number becomes black.
    const auto scaled = static_cast<float>(value) * 255.0F + 0.5F;
    return scaled > 0 ? static_cast<unsigned char>(std::min(scaled, 255.0F)) : 0;
}

// The compiler knows the kind of pixel, and turns the loop into vector instructions.
template <int colours, bool alpha, typename Sample>
void convertPixels(const Sample* from, int width, uchar* to) {
    constexpr int samples = colours + (alpha ? 1 : 0);
    constexpr int green = colours == 3 ? 1 : 0;
    for (int x = 0; x < width; ++x) {
        to[0] = toByte(from[0]);
        to[1] = toByte(from[green]);
        to[2] = toByte(from[green * 2]);
        to[3] = alpha ? toByte(from[samples - 1]) : 255;
        from += samples;
        to += 4;
    }
}

template <typename Sample>
void convertRow(const Sample* from, const PixelFormat& format, int width, uchar* to) {
    if (format.colours == 3) {
        format.alpha ? convertPixels<3, true>(from, width, to)
                     : convertPixels<3, false>(from, width, to);
    } else {
        format.alpha ? convertPixels<1, true>(from, width, to)
                     : convertPixels<1, false>(from, width, to);
    }
}

void convertPlainly(const PixelData& source, uchar* rgba) {
    withSampleType(source.format.type, [&]<typename Sample>() {
        for (int y = 0; y < source.height; ++y) {
            convertRow(source.row<Sample>(y), source.format, source.width, rgba);
            rgba += std::size_t{4} * static_cast<std::size_t>(source.width);
        }
    });
}

// The colour samples as 8 or 16-bit integers, which is what the profile conversion takes. Floats
// become 16-bit: they are display values from 0 to 1.
std::vector<unsigned short> wholeNumbers(const PixelData& source) {
    std::vector<unsigned short> result;
    const auto count = static_cast<std::size_t>(source.width) *
                       static_cast<std::size_t>(source.height * source.format.samples());
    result.reserve(count);
    const auto* from = reinterpret_cast<const float*>(source.bytes);
    for (std::size_t i = 0; i < count; ++i) {
        const float scaled = from[i] * 65535.0F + 0.5F;
        result.push_back(scaled > 0 ? static_cast<unsigned short>(std::min(scaled, 65535.0F)) : 0);
    }
    return result;
}

QByteArray colourSpaceOfScreen;  // empty: sRGB
std::mutex colourSpaceOfScreenMutex;

QByteArray screenProfile() {
    const std::lock_guard lock(colourSpaceOfScreenMutex);
    return colourSpaceOfScreen;
}

bool hasNoTable(const LcmsProfile& profile, cmsUInt32Number use) {
    return cmsIsCLUT(profile.get(), INTENT_RELATIVE_COLORIMETRIC, use) == 0;
}

// Which conversions to make. Quick ones interpolate between few points, unless both profiles are
// made of curves and the samples have 8 bits, and are up to 13 levels out in strong colours; exact
// ones take nine times as long.
enum class Way { exact, quick };

// Into the screen's colours, 8-bit RGBA; floats are taken as 16-bit integers. Throws the reason
// when a profile cannot be used. Without a cache, so that several threads may use it at once.
LcmsTransform transformFor(const PixelFormat& format, const QByteArray& profile,
                           const QByteArray& screen, Way way) {
    if (!profile.isEmpty() && !isProfileOf(profileColourSpace(format.colours), profile.constData(),
                                           static_cast<std::size_t>(profile.size()))) {
        throw std::runtime_error("it is for another kind of picture");
    }
    const LcmsProfile from = openProfileOf(profile, format.colours);
    const LcmsProfile to = openProfileOf(screen, 3);
    const unsigned alpha = format.alpha ? 1 : 0;
    const unsigned bytes = format.type == SampleType::uint8 ? 1 : 2;
    const auto colours = static_cast<unsigned>(format.colours);
    const cmsUInt32Number layout = COLORSPACE_SH(colours == 1 ? PT_GRAY : PT_RGB) |
                                   CHANNELS_SH(colours) | EXTRA_SH(alpha) | BYTES_SH(bytes);
    // The darkest shades must not sink into the screen's own black.
    cmsUInt32Number flags = cmsFLAGS_NOCACHE | cmsFLAGS_BLACKPOINTCOMPENSATION;
    if (format.alpha) flags |= cmsFLAGS_COPY_ALPHA;
    LcmsTransform transform;
    if (from && to) {
        const bool isQuickOneExact = colours == 3 && bytes == 1 &&
                                     hasNoTable(from, LCMS_USED_AS_INPUT) &&
                                     hasNoTable(to, LCMS_USED_AS_OUTPUT);
        if (way == Way::exact && !isQuickOneExact) flags |= cmsFLAGS_NOOPTIMIZE;
        transform.reset(cmsCreateTransform(from.get(), layout, to.get(), TYPE_RGBA_8,
                                           INTENT_RELATIVE_COLORIMETRIC, flags));
    }
    if (!transform) throw std::runtime_error("it cannot be read");
    return transform;
}

// The way of a picture's colours to the screen; none where their numbers are the screen's own.
LcmsTransform transformFor(const PixelData& source) {
    const QByteArray screen = screenProfile();
    const bool isOfScreensKind = source.format.colours == 3 || screen.isEmpty();
    if (isOfScreensKind && meansTheSame(source.colourProfile, screen)) return nullptr;
    // Only panoramas are converted as a whole.
    constexpr std::size_t mostExactPixels = std::size_t{1} << 25;
    const std::size_t pixels =
        static_cast<std::size_t>(source.width) * static_cast<std::size_t>(source.height);
    const Way way = pixels <= mostExactPixels ? Way::exact : Way::quick;
    try {
        return transformFor(source.format, source.colourProfile, screen, way);
    } catch (const std::runtime_error& error) {
        logLine(std::string("Colour profile not used: ") + error.what());
    }
    try {
        if (!screen.isEmpty()) return transformFor(source.format, {}, screen, way);
    } catch (const std::runtime_error& error) {
        logLine(std::string("Colour profile of the screen not used: ") + error.what());
    }
    return nullptr;
}

void convertThroughProfile(const PixelData& source, void* transform, uchar* rgba) {
    std::vector<unsigned short> converted;
    const void* bytes = source.bytes;
    if (source.format.type == SampleType::float32) {
        converted = wholeNumbers(source);
        bytes = converted.data();
    }
    const std::size_t pixels =
        static_cast<std::size_t>(source.width) * static_cast<std::size_t>(source.height);
    // The conversion writes no alpha where it has none.
    if (!source.format.alpha) std::fill_n(rgba, 4 * pixels, uchar{255});
    cmsDoTransform(transform, bytes, rgba, static_cast<cmsUInt32Number>(pixels));
}

int threadCount() {
    return static_cast<int>(std::thread::hardware_concurrency());
}

// Some rows of a picture, as a picture.
PixelData rowsOf(const PixelData& source, int first, int count) {
    PixelData rows = source;
    rows.bytes += static_cast<std::size_t>(first) * source.bytesPerRow();
    rows.height = count;
    return rows;
}

}  // namespace

void setScreenProfile(const QByteArray& profile) {
    QByteArray usable;
    try {
        const auto size = static_cast<std::size_t>(profile.size());
        if (!profile.isEmpty() && !isProfileOf("RGB ", profile.constData(), size)) {
            throw std::runtime_error("it is for another kind of screen");
        }
        if (!profile.isEmpty() && !isSrgbProfile(profile)) {
            transformFor({}, {}, profile, Way::exact);
            usable = profile;
        }
    } catch (const std::runtime_error& error) {
        logLine(std::string("Colour profile of the screen not used: ") + error.what());
    }
    const std::lock_guard lock(colourSpaceOfScreenMutex);
    colourSpaceOfScreen = usable;
}

void screenPixels(const PixelData& source, unsigned char* rgba,
                  const std::function<void(double share)>& progressed) {
    // Large enough that setting up a strip does not count, small enough for the copies that some
    // conversions make.
    constexpr std::size_t pixelsPerStrip = std::size_t{1} << 21;
    const auto width = static_cast<std::size_t>(source.width);
    const int stripRows = static_cast<int>(std::max<std::size_t>(1, pixelsPerStrip / width));
    const int strips = (source.height + stripRows - 1) / stripRows;
    const LcmsTransform transform = transformFor(source);
    std::atomic<int> next = 0;
    std::atomic<int> done = 0;
    const auto convertNext = [&] {
        const int strip = next++;
        if (strip >= strips) return false;
        const int first = strip * stripRows;
        const PixelData rows = rowsOf(source, first, std::min(stripRows, source.height - first));
        unsigned char* to = rgba + std::size_t{4} * width * static_cast<std::size_t>(first);
        if (transform) {
            convertThroughProfile(rows, transform.get(), to);
        } else {
            convertPlainly(rows, to);
        }
        ++done;
        return true;
    };
    std::vector<std::exception_ptr> failures(
        static_cast<std::size_t>(std::max(1, std::min(threadCount(), strips))));
    {
        std::vector<std::jthread> helpers;
        const auto help = [&convertNext](std::exception_ptr& failure) {
            try {
                while (convertNext()) {
                }
            } catch (const std::bad_alloc&) {
                failure = std::current_exception();
            }
        };
        try {
            for (std::size_t i = 1; i < failures.size(); ++i)
                helpers.emplace_back(help, std::ref(failures[i]));
        } catch (const std::system_error&) {
            // Fewer take longer.
        }
        while (convertNext()) {
            if (progressed) progressed(static_cast<double>(done) / strips);
        }
    }
    for (const std::exception_ptr& failure : failures) {
        if (failure) std::rethrow_exception(failure);
    }
    if (progressed) progressed(1);
}

QImage fileValues(const PixelData& source) {
    QImage bytes(source.width, source.height, QImage::Format_RGBA8888);
    if (!bytes.isNull()) convertPlainly(source, bytes.bits());
    return bytes;
}

QImage screenImage(const PixelData& source) {
    // Rows of four bytes a pixel need no padding, so the whole picture is one block.
    QImage screen(source.width, source.height, QImage::Format_RGBA8888);
    if (!screen.isNull()) screenPixels(source, screen.bits());
    return screen;
}

}  // namespace lumaweave
