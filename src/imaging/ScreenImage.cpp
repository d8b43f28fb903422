#include "imaging/ScreenImage.h"

#include <algorithm>
#include <atomic>
#include <thread>
#include <type_traits>
#include <vector>

#include "imaging/ColourProfile.h"
#include "imaging/PixelData.h"
#include "imaging/VipsLibrary.h"
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

// libvips would take another profile in the place of one that cannot be used.
void checkProfile(const vips::VImage& picture, const PixelData& source) {
    const void* bytes = source.colourProfile.constData();
    const auto size = static_cast<std::size_t>(source.colourProfile.size());
    if (!isProfileOf(profileColourSpace(source.format.colours), bytes, size)) {
        throw vips::VError("it is for another kind of picture");
    }
    if (vips_icc_is_compatible_profile(picture.get_image(), bytes, size) == 0) {
        throw vips::VError("it cannot be read");
    }
}

void convertThroughProfile(const PixelData& source, uchar* rgba8) {
    std::vector<unsigned short> converted;
    const void* bytes = source.bytes;
    std::size_t byteCount = source.byteCount();
    if (source.format.type == SampleType::float32) {
        converted = wholeNumbers(source);
        bytes = converted.data();
        byteCount = converted.size() * sizeof converted.front();
    }
    const bool isByte = source.format.type == SampleType::uint8;
    const int colours = source.format.colours;
    startVips();
    vips::VImage picture = vips::VImage::new_from_memory(
        const_cast<void*>(bytes), byteCount, source.width, source.height, source.format.samples(),
        isByte ? VIPS_FORMAT_UCHAR : VIPS_FORMAT_USHORT);
    vips::VImage colour =
        picture.extract_band(0, vips::VImage::option()->set("n", colours))
            .copy(vips::VImage::option()->set(
                "interpretation",
                colours == 1 ? (isByte ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_GREY16)
                             : (isByte ? VIPS_INTERPRETATION_sRGB : VIPS_INTERPRETATION_RGB16)));
    checkProfile(colour, source);
    colour.set(VIPS_META_ICC_NAME, nullptr, const_cast<char*>(source.colourProfile.constData()),
               static_cast<std::size_t>(source.colourProfile.size()));
    colour = colour.icc_transform("srgb", vips::VImage::option()
                                              ->set("embedded", true)
                                              ->set("intent", VIPS_INTENT_RELATIVE)
                                              ->set("depth", 8));
    vips::VImage rgba = colour.bands() == 1 ? colour.bandjoin(colour).bandjoin(colour) : colour;
    if (source.format.alpha) {
        vips::VImage alpha = picture.extract_band(colours);
        if (!isByte) alpha = alpha.linear(255.0 / 65535.0, 0.5);
        rgba = rgba.bandjoin(alpha.cast(VIPS_FORMAT_UCHAR));
    } else {
        rgba = rgba.bandjoin(255);
    }
    const std::size_t targetBytes = std::size_t{4} * static_cast<std::size_t>(source.width) *
                                    static_cast<std::size_t>(source.height);
    vips::VImage target = vips::VImage::new_from_memory(rgba8, targetBytes, source.width,
                                                        source.height, 4, VIPS_FORMAT_UCHAR);
    if (vips_image_write(rgba.cast(VIPS_FORMAT_UCHAR).get_image(), target.get_image()) != 0) {
        throw vips::VError();
    }
}

// Some rows of a picture, as a picture.
PixelData rowsOf(const PixelData& source, int first, int count) {
    PixelData rows = source;
    rows.bytes += static_cast<std::size_t>(first) * source.bytesPerRow();
    rows.height = count;
    return rows;
}

// Whether the profile could be used.
bool convertStrip(const PixelData& strip, bool useProfile, uchar* rgba) {
    if (useProfile && !strip.colourProfile.isEmpty()) {
        try {
            convertThroughProfile(strip, rgba);
            return true;
        } catch (const vips::VError& error) {
            Log(std::string("Colour profile not used: ") + error.what());
            vips_error_clear();
        }
    }
    convertPlainly(strip, rgba);
    return false;
}

}  // namespace

void screenPixels(const PixelData& source, unsigned char* rgba) {
    // Large enough that setting up a strip does not count, small enough for the copies that some
    // conversions make.
    constexpr std::size_t pixelsPerStrip = std::size_t{1} << 22;
    const auto width = static_cast<std::size_t>(source.width);
    const int stripRows = static_cast<int>(std::max<std::size_t>(1, pixelsPerStrip / width));
    const int strips = (source.height + stripRows - 1) / stripRows;
    const auto convert = [&](int strip, bool useProfile) {
        const int first = strip * stripRows;
        const int count = std::min(stripRows, source.height - first);
        return convertStrip(rowsOf(source, first, count), useProfile,
                            rgba + std::size_t{4} * width * static_cast<std::size_t>(first));
    };
    // The first strip tells for all whether the profile serves, so that it is logged once.
    const bool useProfile = convert(0, true);
    std::atomic<int> next = 1;
    const auto work = [&] {
        for (int strip = next++; strip < strips; strip = next++)
            convert(strip, useProfile);
    };
    std::vector<std::jthread> helpers;
    const int cores = static_cast<int>(std::thread::hardware_concurrency());
    for (int i = 1; i < std::min(cores, strips - 1); ++i)
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
