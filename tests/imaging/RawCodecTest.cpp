// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <tiffio.h>

#include <cmath>
#include <filesystem>
#include <vector>

#include "ImagingSupport.h"
#include "imaging/decoding/ImageDecoder.h"
#include "support/FormatFixtures.h"
#include "support/TestFolder.h"

// Raw files, made here as a camera with a mosaic of red, green and blue would write them.

namespace lumaweave {

namespace fs = std::filesystem;
using test::DngShape;
using test::TestFolder;
using test::writeDng;

namespace {

constexpr int width = 128;
constexpr int height = 96;
constexpr int patchSide = 32;

// Grey patches of so much light, in a row; the last one is brighter than the sensor can tell.
constexpr double patches[] = {0.01, 0.05, 0.18, 0.5};

double patchLight(int x) {
    return patches[x / patchSide];
}

class RawCodecTest : public testing::Test {
  protected:
    // The linear light in the middle of a patch of a developed picture, of one colour.
    static double lightOf(const Image& developed, int patch, int colour) {
        const int x = patch * patchSide + patchSide / 2;
        const Image spot = developed.cropped(QRectF(QRect(x - 4, height / 2 - 4, 8, 8)), 8, 8);
        const std::vector<double> samples = test::samplesOf(spot);
        double sum = 0;
        for (std::size_t i = 0; i < 64; ++i)
            sum += test::srgbDecoded(samples[i * 4 + static_cast<std::size_t>(colour)]);
        return sum / 64;
    }
    [[nodiscard]] Image developed(double exposure, const DngShape& shape = {}) const {
        writeDng(
            width, height,
            [&](int x, int, int colour) {
                const auto c = static_cast<std::size_t>(colour);
                return std::min(1.0, patchLight(x) * exposure * shape.neutral[c]);
            },
            file, shape);
        return decodeToTiff(file, folder / "decoded.tif").image;
    }

    TestFolder folder;
    const fs::path file = folder / "shot.dng";
};

}  // namespace

TEST_F(RawCodecTest, ShotsTwoEvApartAreDevelopedTwoEvApart) {
    const Image dark = developed(0.25);
    const Image light = developed(1);
    ASSERT_FALSE(dark.isNull());
    ASSERT_FALSE(light.isNull());
    EXPECT_EQ(light.format(), (PixelFormat{3, false, SampleType::uint16}));
    for (const int patch : {1, 2, 3}) {
        for (const int colour : {0, 1, 2}) {
            const double apart =
                std::log2(lightOf(light, patch, colour) / lightOf(dark, patch, colour));
            EXPECT_NEAR(apart, 2, 0.1) << "patch " << patch << ", colour " << colour;
        }
    }
}

TEST_F(RawCodecTest, TheLightIsWhatTheSensorSaw) {
    const Image picture = developed(1);
    for (const int patch : {1, 2, 3})
        EXPECT_NEAR(lightOf(picture, patch, 1) / patches[patch], 1, 0.03) << patch;
}

// A white level taken from the brightest pixel, or highlights that are rescued, would change the
// mid tones of a shot with its brightest spot.
TEST_F(RawCodecTest, ABrightSpotChangesNothingElse) {
    const auto withSpot = [&](double spot) {
        writeDng(width, height,
                 [&](int x, int y, int) { return x < 8 && y < 8 ? spot : patchLight(x) * 0.5; },
                 file, {});
        return decodeToTiff(file, folder / "decoded.tif").image;
    };
    const Image with = withSpot(1);
    const Image almost = withSpot(0.97);
    const Image without = withSpot(0.005);
    for (const int patch : {1, 2, 3}) {
        EXPECT_NEAR(lightOf(with, patch, 1) / lightOf(without, patch, 1), 1, 0.002) << patch;
        EXPECT_NEAR(lightOf(almost, patch, 1) / lightOf(without, patch, 1), 1, 0.002) << patch;
    }
}

TEST_F(RawCodecTest, TheCamerasWhiteBalanceMakesGreyGrey) {
    const Image picture = developed(1, {.neutral = {0.5, 1, 0.7}});
    for (const int patch : {1, 2, 3}) {
        const double green = lightOf(picture, patch, 1);
        EXPECT_NEAR(lightOf(picture, patch, 0) / green, 1, 0.03) << patch;
        EXPECT_NEAR(lightOf(picture, patch, 2) / green, 1, 0.03) << patch;
    }
}

TEST_F(RawCodecTest, APictureTakenSidewaysIsTurnedUprightOnce) {
    // The dark half is at the left of the sensor: upright it is at the top, the bottom, the right.
    for (const auto& [orientation, darkAtTopLeft] :
         {std::pair(6, true), std::pair(8, false), std::pair(3, false)}) {
        writeDng(width, height, [](int x, int, int) { return x < width / 2 ? 0.1 : 0.6; }, file,
                 {.orientation = orientation});
        const Image picture = decodeToTiff(file, folder / "decoded.tif").image;
        ASSERT_FALSE(picture.isNull());
        const bool turned = orientation != 3;
        EXPECT_EQ(picture.pixelsWide(), turned ? height : width);
        EXPECT_EQ(picture.pixelsHigh(), turned ? width : height);
        const QImage screen = picture.toScreen();
        const int topLeft = screen.pixelColor(10, 10).green();
        const int bottomRight =
            screen.pixelColor(screen.width() - 10, screen.height() - 10).green();
        EXPECT_EQ(topLeft < bottomRight, darkAtTopLeft) << orientation;
    }
}

TEST_F(RawCodecTest, TheSmallPictureOfARawFileIsNeverTakenForIt) {
    (void)developed(1);
    // The mosaic's compression becomes one that does not exist: what is left is the small picture.
    std::string bytes = test::readFile(file);
    const std::string mosaicTag("\x06\x01\x03\0\x01\0\0\0\x23\x80", 10);
    ASSERT_NE(bytes.find(mosaicTag), std::string::npos);
    const std::string compressionTag("\x03\x01\x03\0\x01\0\0\0\x01\0", 10);
    for (std::size_t at = bytes.find(compressionTag); at != std::string::npos;
         at = bytes.find(compressionTag, at + 1)) {
        bytes[at + 8] = '\x77';
        bytes[at + 9] = '\x77';
    }
    const fs::path damaged = folder.write("damaged.dng", bytes);
    EXPECT_TRUE(decodeToTiff(damaged, folder / "damaged.tif").image.isNull());
    EXPECT_TRUE(decodeImage(damaged).isNull());
}

TEST_F(RawCodecTest, AnOrdinaryTiffOfACameraStaysATiff) {
    const Image picture = test::asymmetricPicture(40, 30, {3, false, SampleType::uint16});
    test::writeTiffAs(picture, folder / "camera.tif", {});
    TIFF* tiff = TIFFOpen((folder / "camera.tif").c_str(), "r+");
    TIFFSetField(tiff, TIFFTAG_MAKE, "NIKON CORPORATION");
    TIFFSetField(tiff, TIFFTAG_MODEL, "NIKON D850");
    TIFFRewriteDirectory(tiff);
    TIFFClose(tiff);
    const Image decoded = decodeImage(folder / "camera.tif");
    EXPECT_EQ(test::differenceBetween(decoded, picture).largest, 0);
}

TEST_F(RawCodecTest, TheNameDoesNotCount) {
    ASSERT_FALSE(developed(1).isNull());
    for (const char* name : {"shot.jpg", "shot.tif", "shot"}) {
        fs::copy_file(file, folder / name, fs::copy_options::overwrite_existing);
        EXPECT_EQ(decodeImage(folder / name).pixelsWide(), width) << name;
    }
}

TEST_F(RawCodecTest, ATruncatedRawFileIsRefused) {
    ASSERT_FALSE(developed(1).isNull());
    const std::string whole = test::readFile(file);
    for (const std::size_t percent : {1U, 30U, 60U, 95U}) {
        const fs::path part =
            folder.write("part.dng", whole.substr(0, whole.size() * percent / 100));
        EXPECT_TRUE(decodeImage(part).isNull()) << percent;
        EXPECT_TRUE(decodeToTiff(part, folder / "part.tif").image.isNull()) << percent;
    }
}

}  // namespace lumaweave
