// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <tiffio.h>

#include <QImage>
#include <bit>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include "ImagingSupport.h"
#include "imaging/decoding/ImageDecoder.h"
#include "imaging/formats/PhotoFormat.h"
#include "imaging/formats/VipsLibrary.h"
#include "imaging/picture/PixelData.h"
#include "support/FormatFixtures.h"
#include "support/TestFolder.h"

// Variants that few programs write, and files that only Qt's decoders know.

namespace lumaweave {

namespace fs = std::filesystem;
using test::differenceBetween;
using test::makeImage;
using test::TestFolder;
using test::TiffShape;
using test::vipsImage;
using test::writeTiffAs;

namespace {

constexpr PixelFormat grey8 = {1, false, SampleType::uint8};
constexpr PixelFormat rgb8 = {3, false, SampleType::uint8};
constexpr PixelFormat rgba8 = {3, true, SampleType::uint8};
constexpr PixelFormat rgb16 = {3, false, SampleType::uint16};
constexpr PixelFormat rgbFloat = {3, false, SampleType::float32};

double scene(int x, int y, int s) {
    return ((x * 7 + y * 13 + s * 31) % 97) / 96.0;
}

class UncommonPicturesTest : public testing::Test {
  protected:
    void expectDecodedTo(const Image& expected, double tolerance) const {
        const Image decoded = decodeToTiff(file, folder / "decoded.tif").image;
        ASSERT_FALSE(decoded.isNull());
        EXPECT_EQ(decoded.format(), expected.format());
        EXPECT_LE(differenceBetween(decoded, expected).largest, tolerance);
        EXPECT_EQ(differenceBetween(decodeImage(file), decoded).largest, 0);
    }

    TestFolder folder;
    const fs::path file = folder / "shot.dat";
};

// The half float of a number that is normal among them.
std::uint16_t halfOf(double value) {
    if (value == 0) return 0;
    int exponent = 0;
    const double fraction = std::frexp(std::abs(value), &exponent);
    const auto bits = static_cast<unsigned>(std::lround((fraction * 2 - 1) * 1024));
    return static_cast<std::uint16_t>((value < 0 ? 0x8000U : 0U) +
                                      (static_cast<unsigned>(exponent + 14) << 10U) + bits);
}

// A 16-bit picture whose samples are the bits of half floats.
Image halfBits(int width, int height, int colours, bool alpha, const test::SampleFunction& value) {
    PixelBuffer buffer(width, height, {colours, alpha, SampleType::uint16});
    const int samples = colours + (alpha ? 1 : 0);
    for (int y = 0; y < height; ++y) {
        for (int i = 0; i < width * samples; ++i)
            buffer.row<std::uint16_t>(y)[i] = halfOf(value(i / samples, y, i % samples));
    }
    return std::move(buffer).finish();
}

}  // namespace

TEST_F(UncommonPicturesTest, TiffOfHalfFloats) {
    for (const int colours : {1, 3}) {
        for (TiffShape shape : {TiffShape{}, TiffShape{.compression = COMPRESSION_LZW},
                                TiffShape{.tiled = true}, TiffShape{.mode = "wb"},
                                TiffShape{.separatePlanes = true}, TiffShape{.orientation = 6}}) {
            shape.sampleFormat = SAMPLEFORMAT_IEEEFP;
            // Display values, some beyond white and below black.
            const auto value = [](int x, int y, int s) { return scene(x, y, s) * 2 - 0.25; };
            const Image bits = halfBits(51, 37, colours, false, value);
            writeTiffAs(shape.orientation == 1 ? bits : test::turnedFor(6, bits), file, shape);
            expectDecodedTo(makeImage(51, 37, {colours, false, SampleType::float32}, value), 1e-3);
        }
    }
}

TEST_F(UncommonPicturesTest, TiffOfHalfFloatsWithColoursMultipliedByTheirAlpha) {
    const Image bits = halfBits(8, 4, 3, true, [](int, int, int s) { return s == 3 ? 0.5 : 0.2; });
    writeTiffAs(bits, file,
                {.sampleFormat = SAMPLEFORMAT_IEEEFP, .kindOfAlpha = EXTRASAMPLE_ASSOCALPHA});
    expectDecodedTo(makeImage(8, 4, {3, true, SampleType::float32},
                              [](int, int, int s) { return s == 3 ? 0.5 : 0.4; }),
                    1e-3);
}

TEST_F(UncommonPicturesTest, ColoursMultipliedByTheirAlphaInEveryDepth) {
    for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
        const PixelFormat format = {3, true, type};
        const auto straight = [](int x, int y, int s) {
            return s == 3 ? 0.25 + 0.75 * x / 50 : scene(x, y, s);
        };
        const Image stored = makeImage(51, 37, format, [&](int x, int y, int s) {
            return s == 3 ? straight(x, y, 3) : straight(x, y, s) * straight(x, y, 3);
        });
        writeTiffAs(stored, file, {.kindOfAlpha = EXTRASAMPLE_ASSOCALPHA});
        // A quarter of alpha leaves a quarter of the levels.
        const double tolerance = type == SampleType::uint8    ? 4.01 / 255
                                 : type == SampleType::uint16 ? 3.0 / 65535
                                                              : 1e-5;
        expectDecodedTo(makeImage(51, 37, format, straight), tolerance);
    }
}

namespace {

// A picture of packed samples of that many bits, red, green and blue.
void writePackedTiff(const fs::path& path, int bits, const Image& image) {
    startVips();
    const PixelData& pixels = image.pixels();
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(pixels.width));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(pixels.height));
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, pixels.format.samples());
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, bits);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
                 pixels.format.colours == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 8);
    for (int y = 0; y < pixels.height; ++y) {
        std::vector<unsigned char> row(static_cast<std::size_t>(TIFFScanlineSize(tiff)));
        std::size_t at = 0;
        for (int i = 0; i < pixels.width * pixels.format.samples(); ++i) {
            const unsigned highest = (1U << bits) - 1U;
            const unsigned value = (pixels.row<std::uint16_t>(y)[i] * highest + 32767U) / 65535U;
            for (int bit = bits - 1; bit >= 0; --bit, ++at)
                row[at / 8] |= static_cast<unsigned char>((value >> bit & 1U) << (7 - at % 8));
        }
        TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(y), 0);
    }
    TIFFClose(tiff);
}

}  // namespace

TEST_F(UncommonPicturesTest, TiffOfOddNumbersOfBits) {
    for (const int bits : {10, 12, 14}) {
        for (const int colours : {1, 3}) {
            SCOPED_TRACE(bits);
            const Image picture = makeImage(51, 37, {colours, false, SampleType::uint16}, scene);
            writePackedTiff(file, bits, picture);
            expectDecodedTo(picture, 0.51 / ((1 << bits) - 1));
        }
    }
}

TEST_F(UncommonPicturesTest, TiffOfThirtyTwoBitIntegers) {
    PixelBuffer buffer(51, 37, rgbFloat);
    for (int y = 0; y < 37; ++y) {
        for (int i = 0; i < 51 * 3; ++i) {
            const auto number = static_cast<std::uint32_t>(scene(i / 3, y, i % 3) * 4294967295.0);
            buffer.row<float>(y)[i] = std::bit_cast<float>(number);
        }
    }
    const Image bits = std::move(buffer).finish();
    for (TiffShape shape : {TiffShape{}, TiffShape{.compression = COMPRESSION_LZW},
                            TiffShape{.tiled = true}, TiffShape{.orientation = 6}}) {
        shape.sampleFormat = SAMPLEFORMAT_UINT;
        writeTiffAs(shape.orientation == 1 ? bits : test::turnedFor(6, bits), file, shape);
        expectDecodedTo(makeImage(51, 37, rgb16, scene), 1.01 / 65535);
    }
}

namespace {

double smooth(int x, int y, int s) {
    return 0.2 + 0.01 * x + 0.005 * y + 0.05 * s;
}

// Luminance and colour differences of the smooth scene.
Image ycc() {
    return makeImage(48, 32, rgb8, [](int x, int y, int s) {
        const double r = smooth(x, y, 0), g = smooth(x, y, 1), b = smooth(x, y, 2);
        const double luminance = 0.299 * r + 0.587 * g + 0.114 * b;
        return s == 0   ? luminance
               : s == 1 ? (b - luminance) / 1.772 + 128.0 / 255
                        : (r - luminance) / 1.402 + 128.0 / 255;
    });
}

}  // namespace

TEST_F(UncommonPicturesTest, TiffOfLuminanceAndColourDifferences) {
    for (const std::uint16_t compression :
         {std::uint16_t{COMPRESSION_NONE}, std::uint16_t{COMPRESSION_LZW},
          std::uint16_t{COMPRESSION_ADOBE_DEFLATE}}) {
        writeTiffAs(ycc(), file, {.compression = compression, .photometric = PHOTOMETRIC_YCBCR});
        expectDecodedTo(makeImage(48, 32, rgb8, smooth), 2.01 / 255);
    }
    writeTiffAs(test::turnedFor(8, ycc()), file,
                {.orientation = 8, .photometric = PHOTOMETRIC_YCBCR});
    expectDecodedTo(makeImage(48, 32, rgb8, smooth), 2.01 / 255);
}

TEST_F(UncommonPicturesTest, TiffCompressedAsJpeg) {
    for (const PixelFormat& format : {grey8, rgb8}) {
        const Image picture = makeImage(48, 32, format, smooth);
        vipsImage(picture).tiffsave(file.c_str(),
                                    vips::VImage::option()
                                        ->set("compression", VIPS_FOREIGN_TIFF_COMPRESSION_JPEG)
                                        ->set("Q", 98)
                                        ->set("tile", true)
                                        ->set("tile_width", 16)
                                        ->set("tile_height", 16));
        expectDecodedTo(picture, 6.0 / 255);
    }
}

TEST_F(UncommonPicturesTest, TiffOfInksWithAlphaKeepsIt) {
    // Five samples: white paper, half transparent.
    TIFF* tiff = TIFFOpen(file.c_str(), "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 8);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 8);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 5);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_SEPARATED);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    const std::uint16_t kind = EXTRASAMPLE_UNASSALPHA;
    TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &kind);
    std::vector<unsigned char> row;
    for (int x = 0; x < 8; ++x)
        row.insert(row.end(), {0, 0, 0, 0, 102});
    for (std::uint32_t y = 0; y < 8; ++y)
        TIFFWriteScanline(tiff, row.data(), y, 0);
    TIFFClose(tiff);
    expectDecodedTo(makeImage(8, 8, rgba8, [](int, int, int s) { return s == 3 ? 0.4 : 1.0; }),
                    5.0 / 255);
}

TEST_F(UncommonPicturesTest, PngWithATransparentColour) {
    // Two colours, of which one is transparent.
    const Image stored = makeImage(16, 8, rgb8, [](int x, int, int s) {
        return x < 8 ? (s == 0 ? 1.0 : 0.2) : (s == 2 ? 1.0 : 0.4);
    });
    test::writePngWithKeyColour(stored, file, {255, 51, 51});
    expectDecodedTo(makeImage(16, 8, rgba8,
                              [](int x, int, int s) {
                                  if (s == 3) return x < 8 ? 0.0 : 1.0;
                                  return x < 8 ? (s == 0 ? 1.0 : 0.2) : (s == 2 ? 1.0 : 0.4);
                              }),
                    0);
}

TEST_F(UncommonPicturesTest, PngOfOneTwoAndFourBits) {
    for (const int bits : {1, 2, 4}) {
        const int highest = (1 << bits) - 1;
        const Image picture = makeImage(37, 21, grey8, [highest](int x, int y, int) {
            return (x + y) % (highest + 1) / static_cast<double>(highest);
        });
        vipsImage(picture).pngsave(file.c_str(), vips::VImage::option()->set("bitdepth", bits));
        expectDecodedTo(picture, 0);
    }
}

TEST_F(UncommonPicturesTest, Jpeg2000OfLuminanceAndColourDifferences) {
    test::writeJpeg2000(makeImage(48, 32, rgb8, smooth), file, {.luminance = true});
    expectDecodedTo(makeImage(48, 32, rgb8, smooth), 2.01 / 255);
}

// And not one that comes of shifting ten bits up to sixteen.
TEST_F(UncommonPicturesTest, WhiteIsTheHighestNumberInEveryDepth) {
    const Image white = makeImage(32, 32, rgb16, [](int, int, int) { return 1.0; });
    for (const int bits : {10, 12}) {
        SCOPED_TRACE(bits);
        test::writeHeif(white, file, {.bits = bits});
        expectDecodedTo(white, 0);
        test::writeHeif(white, file, {.av1 = true, .bits = bits});
        expectDecodedTo(white, 0);
        test::writeJpeg2000(white, file, {.bits = bits});
        expectDecodedTo(white, 0);
    }
    test::writeJxl(white, file);
    expectDecodedTo(white, 0);
    writePackedTiff(file, 12, white);
    expectDecodedTo(white, 0);
}

// EXIF says how the user held the camera; the file itself is turned by that already.
TEST_F(UncommonPicturesTest, HeicIsTurnedByItsFileAndNotByItsExif) {
    const Image picture = makeImage(48, 32, rgb8, smooth);
    for (const bool av1 : {false, true}) {
        for (const int exif : {1, 3, 6, 8}) {
            test::writeHeif(picture, file, {.av1 = av1, .exifOrientation = exif});
            expectDecodedTo(picture, 2.01 / 255);
            test::writeHeif(test::turnedFor(exif, picture), file,
                            {.av1 = av1, .orientation = exif, .exifOrientation = exif});
            expectDecodedTo(picture, 2.01 / 255);
        }
    }
}

TEST_F(UncommonPicturesTest, BitmapsAndPortableMapsAreReadByQt) {
    const Image picture = makeImage(51, 37, rgb8, scene);
    const QImage image = picture.toScreen().convertToFormat(QImage::Format_RGB888);
    for (const char* format : {"bmp", "ppm"}) {
        ASSERT_TRUE(image.save(QString::fromStdString(file.native()), format));
        expectDecodedTo(picture, 0);
    }
    const Image grey = makeImage(51, 37, grey8, scene);
    ASSERT_TRUE(grey.toScreen()
                    .convertToFormat(QImage::Format_Grayscale8)
                    .save(QString::fromStdString(file.native()), "pgm"));
    expectDecodedTo(grey, 0);
}

TEST_F(UncommonPicturesTest, QtsLimitOnMemoryHolds) {
    // 30000 x 30000 pixels, declared by 54 bytes.
    std::string head("BM\0\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\x30\x75\0\0\x30\x75\0\0\1\0\x18\0",
                     30);
    head += std::string(24 + 4000, '\0');
    std::ofstream(file, std::ios::binary) << head;
    EXPECT_TRUE(decodeImage(file).isNull());
}

}  // namespace lumaweave
