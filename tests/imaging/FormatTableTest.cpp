// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <tiffio.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include "ImagingSupport.h"
#include "imaging/decoding/ImageDecoder.h"
#include "imaging/formats/VipsLibrary.h"
#include "support/FormatFixtures.h"
#include "support/TestFolder.h"

// The table of what can be loaded: format x depth x profile x orientation. Every picture comes back
// with its pixels, its depth, its profile and its alpha, and upright.

namespace lumaweave {

namespace fs = std::filesystem;
using test::adobeRgbSpace;
using test::differenceBetween;
using test::displayP3Space;
using test::makeImage;
using test::proPhotoSpace;
using test::TestFolder;
using test::vipsImage;
using vips::VImage;

namespace {

constexpr PixelFormat grey8 = {1, false, SampleType::uint8};
constexpr PixelFormat greyAlpha8 = {1, true, SampleType::uint8};
constexpr PixelFormat rgb8 = {3, false, SampleType::uint8};
constexpr PixelFormat rgba8 = {3, true, SampleType::uint8};
constexpr PixelFormat grey16 = {1, false, SampleType::uint16};
constexpr PixelFormat greyAlpha16 = {1, true, SampleType::uint16};
constexpr PixelFormat rgb16 = {3, false, SampleType::uint16};
constexpr PixelFormat rgba16 = {3, true, SampleType::uint16};
constexpr PixelFormat greyFloat = {1, false, SampleType::float32};
constexpr PixelFormat rgbFloat = {3, false, SampleType::float32};
constexpr PixelFormat rgbaFloat = {3, true, SampleType::float32};

// Smooth, so that lossy formats keep it, and without any symmetry.
double scene(int x, int y, int s) {
    return 0.2 + 0.012 * x + 0.006 * y * (s + 1) + 0.05 * s + 0.04 * std::sin(0.3 * x + 0.2 * y);
}

Image upright(const PixelFormat& format) {
    return makeImage(40, 26, format, [&format](int x, int y, int s) {
        return s == format.colours ? 0.4 + 0.01 * x : scene(x, y, s);
    });
}

using Write = std::function<void(const Image& upright, int orientation, const fs::path& path)>;

// A column of the table: all profiles and orientations that the format can have are tried.
struct Row {
    const char* name;
    std::vector<PixelFormat> formats;
    Write write;
    double tolerance = 0;  // in levels of 255
    std::vector<int> orientations = {1, 2, 3, 4, 5, 6, 7, 8};
    bool profiles = true;
};

void PrintTo(const Row& row, std::ostream* stream) {
    *stream << row.name;
}

struct NamedProfile {
    const char* name;
    QByteArray bytes;
};
std::vector<NamedProfile> profilesFor(const PixelFormat& format) {
    if (format.colours == 1) return {{"none", {}}, {"grey 1.8", test::greyProfileOf(1.8)}};
    return {{"none", {}},
            {"Adobe RGB", test::profileOf(adobeRgbSpace)},
            {"ProPhoto", test::profileOf(proPhotoSpace)},
            {"Display P3", test::profileOf(displayP3Space)}};
}

Write tiffAs(test::TiffShape shape) {
    return [shape](const Image& picture, int orientation, const fs::path& path) {
        test::TiffShape turned = shape;
        turned.orientation = static_cast<std::uint16_t>(orientation);
        test::writeTiffAs(test::turnedFor(orientation, picture), path, turned);
    };
}

Write jpegAs(test::JpegShape shape) {
    return [shape](const Image& picture, int orientation, const fs::path& path) {
        test::JpegShape turned = shape;
        turned.orientation = orientation;
        test::writeJpeg(test::turnedFor(orientation, picture), path, turned);
    };
}

Write heifAs(test::HeifShape shape) {
    return [shape](const Image& picture, int orientation, const fs::path& path) {
        test::HeifShape turned = shape;
        turned.orientation = orientation;
        // Cameras say it twice.
        turned.exifOrientation = orientation;
        test::writeHeif(test::turnedFor(orientation, picture), path, turned);
    };
}

Write jpeg2000As(test::Jpeg2000Shape shape) {
    return [shape](const Image& picture, int, const fs::path& path) {
        test::writeJpeg2000(picture, path, shape);
    };
}

void jxl(const Image& picture, int orientation, const fs::path& path) {
    test::writeJxl(test::turnedFor(orientation, picture), path, orientation);
}

using SaveWithVips = std::function<void(const VImage& picture, const fs::path& path)>;
Write vipsAs(const SaveWithVips& save) {
    return [save](const Image& picture, int orientation, const fs::path& path) {
        VImage stored = vipsImage(test::turnedFor(orientation, picture));
        if (orientation != 1) stored.set(VIPS_META_ORIENTATION, orientation);
        save(stored, path);
    };
}

void savePng(const VImage& picture, const fs::path& path, bool interlaced) {
    picture.pngsave(path.c_str(), VImage::option()->set("interlace", interlaced));
}

const std::vector<PixelFormat> eightBit = {grey8, greyAlpha8, rgb8, rgba8};
const std::vector<PixelFormat> sixteenBit = {grey16, greyAlpha16, rgb16, rgba16};
const std::vector<PixelFormat> floats = {greyFloat, rgbFloat, rgbaFloat};
const std::vector<int> notTurned = {1};
// The library mirrors no more than 8 bits where alpha names the mirroring by itself.
const std::vector<int> rotated = {1, 3, 6, 8};
// Rounding on the way to luminance and colour differences and back.
constexpr double yccRounding = 2.01;

std::vector<Row> table() {
    constexpr std::uint16_t lzw = COMPRESSION_LZW;
    constexpr std::uint16_t deflate = COMPRESSION_ADOBE_DEFLATE;
    constexpr std::uint16_t packbits = COMPRESSION_PACKBITS;
    return {
        {"Jpeg", {rgb8, grey8}, jpegAs({}), 4},
        {"JpegProgressive", {rgb8, grey8}, jpegAs({.progressive = true}), 4},
        {"Png8", eightBit, vipsAs([](auto& p, auto& to) { savePng(p, to, false); }), 0, notTurned},
        {"Png16", sixteenBit, vipsAs([](auto& p, auto& to) { savePng(p, to, false); }), 0,
         notTurned},
        {"PngInterlaced8", eightBit, vipsAs([](auto& p, auto& to) { savePng(p, to, true); }), 0,
         notTurned},
        {"PngInterlaced16", sixteenBit, vipsAs([](auto& p, auto& to) { savePng(p, to, true); }), 0,
         notTurned},
        {"Webp", {rgb8, rgba8}, vipsAs([](auto& p, auto& to) {
             p.webpsave(to.c_str(), VImage::option()->set("lossless", true));
         })},
        {"Tiff8", eightBit, tiffAs({})},
        {"Tiff16", sixteenBit, tiffAs({})},
        {"TiffFloat", floats, tiffAs({})},
        {"TiffLzw8", eightBit, tiffAs({.compression = lzw})},
        {"TiffLzw16", sixteenBit, tiffAs({.compression = lzw})},
        {"TiffLzwFloat", floats, tiffAs({.compression = lzw})},
        {"TiffDeflate16", sixteenBit, tiffAs({.compression = deflate})},
        {"TiffDeflateFloat", floats, tiffAs({.compression = deflate})},
        {"TiffPackbits8", eightBit, tiffAs({.compression = packbits})},
        {"TiffPackbits16", sixteenBit, tiffAs({.compression = packbits})},
        {"TiffTiles8", eightBit, tiffAs({.compression = deflate, .tiled = true})},
        {"TiffTiles16", sixteenBit, tiffAs({.tiled = true})},
        {"TiffTilesFloat", floats, tiffAs({.compression = lzw, .tiled = true})},
        {"TiffPlanes8", {rgb8, rgba8}, tiffAs({.separatePlanes = true})},
        {"TiffPlanes16", {rgb16, rgba16}, tiffAs({.compression = lzw, .separatePlanes = true})},
        {"TiffPlanesFloat", {rgbFloat}, tiffAs({.separatePlanes = true})},
        {"TiffBig8", eightBit, tiffAs({.mode = "w8"})},
        {"TiffBig16", sixteenBit, tiffAs({.mode = "wb8", .compression = lzw})},
        {"TiffBigEndian16", sixteenBit, tiffAs({.mode = "wb"})},
        {"TiffOfSeveralPages16", sixteenBit, tiffAs({.pages = 3})},
        {"Heic8", {rgb8, rgba8}, heifAs({}), yccRounding},
        {"Heic10", {rgb16}, heifAs({.bits = 10}), yccRounding / 4 + 0.13},
        {"Heic12", {rgb16}, heifAs({.bits = 12}), yccRounding / 16 + 0.04},
        {"HeicWithAlpha10", {rgba16}, heifAs({.bits = 10}), yccRounding / 4 + 0.13, rotated},
        {"HeicWithAlpha12", {rgba16}, heifAs({.bits = 12}), yccRounding / 16 + 0.04, rotated},
        {"Avif8", {rgb8, rgba8}, heifAs({.av1 = true}), yccRounding},
        {"Avif10", {rgb16, rgba16}, heifAs({.av1 = true, .bits = 10}), 2},
        {"Avif12", {rgb16}, heifAs({.av1 = true, .bits = 12}), yccRounding / 16 + 0.04},
        {"AvifWithAlpha12",
         {rgba16},
         heifAs({.av1 = true, .bits = 12}),
         yccRounding / 16 + 0.04,
         rotated},
        {"Jpeg2000In8", eightBit, jpeg2000As({.bits = 8}), 0, notTurned},
        {"Jpeg2000In16", sixteenBit, jpeg2000As({.bits = 16}), 0, notTurned},
        {"Jpeg2000In12", sixteenBit, jpeg2000As({.bits = 12}), 0.04, notTurned},
        {"Jpeg2000In10", sixteenBit, jpeg2000As({.bits = 10}), 0.13, notTurned},
        {"Jpeg2000Codestream", {rgb8}, jpeg2000As({.codestreamOnly = true}), 0, notTurned, false},
        {"JpegXl8", eightBit, jxl},
        {"JpegXl16", sixteenBit, jxl},
    };
}

class FormatTable : public testing::TestWithParam<Row> {
  protected:
    TestFolder folder;
    // The name says nothing of what is in it.
    const fs::path file = folder / "shot.dat";
};

INSTANTIATE_TEST_SUITE_P(All, FormatTable, testing::ValuesIn(table()),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace

TEST_P(FormatTable, ComesBackWithItsPixelsDepthProfileAndUpright) {
    const Row& row = GetParam();
    for (const PixelFormat& format : row.formats) {
        for (const NamedProfile& profile : profilesFor(format)) {
            if (!profile.bytes.isEmpty() && !row.profiles) continue;
            const Image picture = test::withProfile(upright(format), profile.bytes);
            for (const int orientation : row.orientations) {
                SCOPED_TRACE(test::nameOf(format) + ", " + profile.name + ", orientation " +
                             std::to_string(orientation));
                row.write(picture, orientation, file);
                const Image decoded = decodeToTiff(file, folder / "decoded.tif").image;
                ASSERT_FALSE(decoded.isNull());
                EXPECT_EQ(decoded.format(), format);
                EXPECT_EQ(decoded.pixelsWide(), picture.pixelsWide());
                EXPECT_EQ(decoded.colourProfile(), profile.bytes);
                EXPECT_LE(differenceBetween(decoded, picture).largest * 255, row.tolerance);
            }
        }
    }
}

namespace {

// Files of linear light, whose pixels become display values.
class LinearLight : public testing::Test {
  protected:
    // What the decoder must make of a file that holds this light.
    static Image displayed(const Image& light) {
        const std::vector<double> samples = test::samplesOf(light);
        const PixelFormat format = light.format();
        return makeImage(light.pixelsWide(), light.pixelsHigh(), format, [&](int x, int y, int s) {
            const auto pixel = static_cast<std::size_t>(y * light.pixelsWide() + x) *
                               static_cast<std::size_t>(format.samples());
            const double value = samples[pixel + static_cast<std::size_t>(s)];
            return s == format.colours ? value : test::srgbEncoded(value);
        });
    }
    // From deep shadow to eight times white.
    static Image light(const PixelFormat& format) {
        return makeImage(40, 26, format, [&format](int x, int y, int s) {
            return s == format.colours ? 1.0 : std::exp2(0.25 * x - 8 + 0.03 * y + 0.1 * s);
        });
    }
    void expectDecodedTo(const Image& expected, double tolerance) const {
        const Image decoded = decodeToTiff(file, folder / "decoded.tif").image;
        ASSERT_FALSE(decoded.isNull());
        EXPECT_EQ(decoded.format(), expected.format());
        EXPECT_LE(differenceBetween(decoded, expected).largest, tolerance);
    }

    TestFolder folder;
    const fs::path file = folder / "shot.dat";
};

}  // namespace

TEST_F(LinearLight, OfOpenExr) {
    for (const PixelFormat& format : {greyFloat, rgbFloat, rgbaFloat}) {
        for (const bool tiled : {false, true}) {
            test::writeExr(light(format), file, {.tiled = tiled});
            expectDecodedTo(displayed(light(format)), 1e-5);
            test::writeExr(light(format), file, {.half = true, .tiled = tiled});
            // Half floats have eleven bits.
            expectDecodedTo(displayed(light(format)), 3e-3);
        }
    }
}

TEST_F(LinearLight, OfOpenExrIsDividedByItsAlpha) {
    const Image stored = makeImage(
        8, 4, rgbaFloat, [](int x, int, int s) { return s == 3 ? 0.25 * (x % 4) : 0.1 * (x % 4); });
    test::writeExr(stored, file, {});
    const Image straight = makeImage(8, 4, rgbaFloat, [](int x, int, int s) {
        if (x % 4 == 0) return 0.0;
        return s == 3 ? 0.25 * (x % 4) : test::srgbEncoded(0.4);
    });
    expectDecodedTo(straight, 1e-5);
}

TEST_F(LinearLight, OfOpenExrIsShownInItsDisplayWindow) {
    test::writeExr(light(rgbFloat), file, {.overscan = 5});
    expectDecodedTo(displayed(light(rgbFloat)), 1e-5);
}

TEST_F(LinearLight, OfOpenExrKeepsItsPrimariesAsAProfile) {
    std::vector<float> primaries(proPhotoSpace.primaries.begin(), proPhotoSpace.primaries.end());
    primaries.insert(primaries.end(), proPhotoSpace.white.begin(), proPhotoSpace.white.end());
    const std::array<double, 3> colour = {0.30, 0.25, 0.20};
    const Image patch = makeImage(
        8, 8, rgbFloat, [&](int, int, int s) { return colour[static_cast<std::size_t>(s)]; });
    test::writeExr(patch, file, {.chromaticities = primaries});
    const Image decoded = decodeImage(file);
    EXPECT_FALSE(decoded.colourProfile().isEmpty());
    test::RgbSpace linear = proPhotoSpace;
    linear.gamma = 1;
    const auto expected = test::inSrgb(linear, colour);
    const QColor shown = decoded.toScreen().pixelColor(4, 4);
    EXPECT_NEAR(shown.red(), expected[0] * 255, 1.5);
    EXPECT_NEAR(shown.green(), expected[1] * 255, 1.5);
    EXPECT_NEAR(shown.blue(), expected[2] * 255, 1.5);
}

TEST_F(LinearLight, ThatIsNoNumberIsBlackAndInfiniteLightIsFinite) {
    const Image stored = makeImage(3, 1, rgbFloat, [](int x, int, int) {
        return x == 0   ? std::numeric_limits<double>::quiet_NaN()
               : x == 1 ? std::numeric_limits<double>::infinity()
                        : -std::numeric_limits<double>::infinity();
    });
    test::writeExr(stored, file, {});
    const std::vector<double> samples = test::samplesOf(decodeImage(file));
    EXPECT_EQ(samples.at(0), 0);
    EXPECT_NEAR(samples.at(3), test::srgbEncoded(65504), 0.01);
    EXPECT_NEAR(samples.at(6), -test::srgbEncoded(65504), 0.01);
}

TEST_F(LinearLight, OfRadianceInEveryOrderOfItsAxes) {
    const char* axes[] = {"-Y +X", "-Y -X", "+Y -X", "+Y +X", "+X -Y", "-X -Y", "-X +Y", "+X +Y"};
    const Image picture = light(rgbFloat);
    for (int orientation = 1; orientation <= 8; ++orientation) {
        SCOPED_TRACE(axes[orientation - 1]);
        test::writeRadiance(test::turnedFor(orientation, picture), file, axes[orientation - 1]);
        // Eight bits with a common exponent, cut off: up to one part in 128 of the strongest.
        const Image decoded = decodeToTiff(file, folder / "decoded.tif").image;
        ASSERT_FALSE(decoded.isNull());
        const std::vector<double> expected = test::samplesOf(displayed(picture));
        const std::vector<double> actual = test::samplesOf(decoded);
        ASSERT_EQ(actual.size(), expected.size());
        for (std::size_t i = 0; i < actual.size(); ++i)
            ASSERT_NEAR(actual[i], expected[i], 0.012 * expected[i] + 0.002) << i;
    }
}

TEST_F(LinearLight, OfJpegXl) {
    for (const PixelFormat& format : {greyFloat, rgbFloat, rgbaFloat}) {
        test::writeJxl(light(format), file);
        expectDecodedTo(displayed(light(format)), 1e-4);
        EXPECT_TRUE(decodeImage(file).colourProfile().isEmpty()) << "sRGB";
    }
    // Of another space: its primaries stay.
    test::writeJxl(test::withProfile(light(rgbFloat), test::linearProfileOf(displayP3Space)), file);
    expectDecodedTo(displayed(light(rgbFloat)), 1e-4);
    const Image patch = decodeImage(file).cropped({20, 10, 1, 1}, 1, 1);
    const std::vector<double> values = test::samplesOf(patch);
    const auto expected = test::inSrgb(displayP3Space, {values[0], values[1], values[2]});
    EXPECT_NEAR(patch.toScreen().pixelColor(0, 0).green(), expected[1] * 255, 1.5);
}

TEST_F(LinearLight, IsNotWhatAJpegXlOfFloatsWithAToneCurveHolds) {
    const Image picture = test::withProfile(upright(rgbFloat), test::profileOf(displayP3Space));
    test::writeJxl(picture, file);
    expectDecodedTo(picture, 1e-6);
    EXPECT_FALSE(decodeImage(file).colourProfile().isEmpty());
}

}  // namespace lumaweave
