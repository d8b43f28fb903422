#include "imaging/ScreenImage.h"

#include <lcms2.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "imaging/ColourProfile.h"
#include "imaging/PixelData.h"
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

// With the kind of pixel known beforehand, the compiler turns the loop into vector instructions.
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

struct ProfileCloser {
    void operator()(void* profile) const { cmsCloseProfile(profile); }
};
struct TransformCloser {
    void operator()(void* transform) const { cmsDeleteTransform(transform); }
};
using Profile = std::unique_ptr<void, ProfileCloser>;
using Transform = std::unique_ptr<void, TransformCloser>;

Profile openProfile(const QByteArray& bytes, int colours) {
    const QByteArray profile = bytes.isEmpty() && colours == 1 ? srgbGreyProfile() : bytes;
    if (profile.isEmpty()) return Profile(cmsCreate_sRGBProfile());
    return Profile(
        cmsOpenProfileFromMem(profile.constData(), static_cast<cmsUInt32Number>(profile.size())));
}

// Into the screen's colours, 8-bit RGBA; floats are taken as 16-bit integers. Throws the reason
// when a profile cannot be used. Without a cache, so that several threads may use it at once.
Transform transformFor(const PixelFormat& format, const QByteArray& profile,
                       const QByteArray& screen) {
    if (!profile.isEmpty() && !isProfileOf(profileColourSpace(format.colours), profile.constData(),
                                           static_cast<std::size_t>(profile.size()))) {
        throw std::runtime_error("it is for another kind of picture");
    }
    const Profile from = openProfile(profile, format.colours);
    const Profile to = openProfile(screen, 3);
    const unsigned alpha = format.alpha ? 1 : 0;
    const unsigned bytes = format.type == SampleType::uint8 ? 1 : 2;
    const auto colours = static_cast<unsigned>(format.colours);
    const cmsUInt32Number layout = COLORSPACE_SH(colours == 1 ? PT_GRAY : PT_RGB) |
                                   CHANNELS_SH(colours) | EXTRA_SH(alpha) | BYTES_SH(bytes);
    Transform transform;
    if (from && to) {
        transform.reset(cmsCreateTransform(
            from.get(), layout, to.get(), TYPE_RGBA_8, INTENT_RELATIVE_COLORIMETRIC,
            cmsFLAGS_NOCACHE | (format.alpha ? cmsFLAGS_COPY_ALPHA : 0U)));
    }
    if (!transform) throw std::runtime_error("it cannot be read");
    return transform;
}

// The way of a picture's colours to the screen; none where their numbers are the screen's own.
Transform transformFor(const PixelData& source) {
    const QByteArray screen = screenProfile();
    const bool isOfScreensKind = source.format.colours == 3 || screen.isEmpty();
    if (isOfScreensKind && meansTheSame(source.colourProfile, screen)) return nullptr;
    try {
        return transformFor(source.format, source.colourProfile, screen);
    } catch (const std::runtime_error& error) {
        Log(std::string("Colour profile not used: ") + error.what());
        if (!screen.isEmpty()) return transformFor(source.format, {}, screen);
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
    // The conversion leaves alone what it has nothing for.
    if (!source.format.alpha) std::fill_n(rgba, 4 * pixels, uchar{255});
    cmsDoTransform(transform, bytes, rgba, static_cast<cmsUInt32Number>(pixels));
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
        // Checked with an ordinary picture of another space.
        if (!profile.isEmpty() && !isSrgbProfile(profile)) {
            if (!isProfileOf("RGB ", profile.constData(),
                             static_cast<std::size_t>(profile.size()))) {
                throw std::runtime_error("it is for another kind of screen");
            }
            transformFor({}, {}, profile);
            usable = profile;
        }
    } catch (const std::runtime_error& error) {
        Log(std::string("Colour profile of the screen not used: ") + error.what());
    }
    const std::lock_guard lock(colourSpaceOfScreenMutex);
    colourSpaceOfScreen = usable;
}

void screenPixels(const PixelData& source, unsigned char* rgba) {
    // Large enough that setting up a strip does not count, small enough for the copies that some
    // conversions make.
    constexpr std::size_t pixelsPerStrip = std::size_t{1} << 22;
    const auto width = static_cast<std::size_t>(source.width);
    const int stripRows = static_cast<int>(std::max<std::size_t>(1, pixelsPerStrip / width));
    const int strips = (source.height + stripRows - 1) / stripRows;
    const Transform transform = transformFor(source);
    std::atomic<int> next = 0;
    const auto work = [&] {
        for (int strip = next++; strip < strips; strip = next++) {
            const int first = strip * stripRows;
            const PixelData rows =
                rowsOf(source, first, std::min(stripRows, source.height - first));
            unsigned char* to = rgba + std::size_t{4} * width * static_cast<std::size_t>(first);
            if (transform) {
                convertThroughProfile(rows, transform.get(), to);
            } else {
                convertPlainly(rows, to);
            }
        }
    };
    std::vector<std::jthread> helpers;
    const int cores = static_cast<int>(std::thread::hardware_concurrency());
    for (int i = 1; i < std::min(cores, strips); ++i)
        helpers.emplace_back(work);
    work();
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
