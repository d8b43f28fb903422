// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <tiffio.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "ImagingSupport.h"
#include "imaging/decoding/ImageDecoder.h"
#include "imaging/formats/VipsLibrary.h"
#include "imaging/picture/PixelData.h"
#include "platform/WorkingFolder.h"
#include "support/ExifTool.h"
#include "support/TestFolder.h"

// Pictures that lie on their side in the file come out upright.

namespace lumaweave {

namespace fs = std::filesystem;
using test::differenceBetween;
using test::makeImage;
using test::TestFolder;
using test::vipsImage;

namespace {

constexpr int width = 52;
constexpr int height = 36;

// Where the first row and the first column of a file with this orientation lie in the picture:
// the pixel (x, y) of the file is this pixel of the upright picture.
struct Position {
    int x;
    int y;
};
Position uprightPosition(int orientation, int x, int y) {
    constexpr int right = width - 1;
    constexpr int bottom = height - 1;
    switch (orientation) {
        case 2:  // first row at the top, first column at the right
            return {right - x, y};
        case 3:  // bottom, right
            return {right - x, bottom - y};
        case 4:  // bottom, left
            return {x, bottom - y};
        case 5:  // first row at the left, first column at the top
            return {y, x};
        case 6:  // right, top
            return {right - y, x};
        case 7:  // right, bottom
            return {right - y, bottom - x};
        case 8:  // left, bottom
            return {y, bottom - x};
        default:
            return {x, y};
    }
}

// What a file of this orientation holds, for a picture given by its values.
Image stored(int orientation, const PixelFormat& format, const test::SampleFunction& value) {
    const bool turned = orientation >= 5;
    return makeImage(turned ? height : width, turned ? width : height, format,
                     [&](int x, int y, int s) {
                         const Position at = uprightPosition(orientation, x, y);
                         return value(at.x, at.y, s);
                     });
}

double exactValue(int x, int y, int s) {
    return ((x * 7 + y * 13 + s * 31) % 97) / 96.0;
}
// Without detail that a JPEG would blur.
double smoothValue(int x, int y, int s) {
    return 0.1 + x * 0.01 + y * 0.005 + s * 0.05;
}

// The smallest Exif block that names an orientation.
std::string exifBlock(int orientation) {
    const std::string exif =
        std::string("Exif\0\0II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0", 24) +
        static_cast<char>(orientation) + std::string(7, '\0');
    return std::string("\xFF\xE1\0", 3) + static_cast<char>(exif.size() + 2) + exif;
}

class OrientationTest : public testing::TestWithParam<int> {
  protected:
    void expectUpright(const Image& upright, double tolerance) const {
        for (const Image& decoded : {decodeToTiff(file, tiff).image, decodeImage(file)}) {
            EXPECT_EQ(decoded.pixelsWide(), upright.pixelsWide());
            EXPECT_EQ(decoded.pixelsHigh(), upright.pixelsHigh());
            EXPECT_EQ(decoded.format(), upright.format());
            EXPECT_LE(differenceBetween(decoded, upright).largest, tolerance);
        }
    }

    TestFolder folder;
    const fs::path file = folder / "shot";
    const fs::path tiff = folder / "decoded.tif";
};

INSTANTIATE_TEST_SUITE_P(All, OrientationTest, testing::Range(1, 9));

}  // namespace

TEST_P(OrientationTest, OfATiff) {
    for (const PixelFormat& format : test::everyFormat()) {
        test::writeTiffAs(stored(GetParam(), format, exactValue), file,
                          {.orientation = static_cast<std::uint16_t>(GetParam())});
        expectUpright(makeImage(width, height, format, exactValue), 0);
    }
}

TEST_P(OrientationTest, OfAJpeg) {
    vipsImage(stored(GetParam(), {}, smoothValue))
        .jpegsave(file.c_str(), vips::VImage::option()->set("Q", 98));
    std::string bytes = test::readFile(file);
    std::ofstream(file, std::ios::binary) << bytes.insert(2, exifBlock(GetParam()));
    // What quality 98 may cost a smooth picture.
    expectUpright(makeImage(width, height, {}, smoothValue), 6.0 / 255);
}

TEST_P(OrientationTest, OfAPng) {
    vipsImage(stored(GetParam(), {}, exactValue)).pngsave((folder / "shot.png").c_str());
    ASSERT_TRUE(
        test::writeTags(folder / "shot.png", {"-n", "-Orientation=" + std::to_string(GetParam())}));
    fs::rename(folder / "shot.png", file);
    expectUpright(makeImage(width, height, {}, exactValue), 0);
}

TEST_P(OrientationTest, OfAWebp) {
    vips::VImage picture = vipsImage(stored(GetParam(), {}, exactValue));
    picture.set(VIPS_META_ORIENTATION, GetParam());
    picture.webpsave(file.c_str(), vips::VImage::option()->set("lossless", true));
    expectUpright(makeImage(width, height, {}, exactValue), 0);
}

TEST_P(OrientationTest, TheFileSaysUprightAndKeepsProfileAndResolution) {
    Image sideways = stored(GetParam(), {}, exactValue);
    PixelData description = sideways.pixels();
    description.colourProfile = test::builtInProfile("p3");
    const Image withProfile(std::make_shared<const PixelData>(description));
    test::writeTiffAs(
        withProfile, file,
        {.orientation = static_cast<std::uint16_t>(GetParam()), .pixelsPerInch = 300.0F});
    const Image decoded = decodeToTiff(file, tiff).image;
    ASSERT_FALSE(decoded.isNull());
    EXPECT_EQ(decoded.colourProfile(), description.colourProfile);
    TIFF* written = TIFFOpen(tiff.c_str(), "r");
    ASSERT_NE(written, nullptr);
    std::uint16_t orientation = 0;
    float pixelsPerInch = 0;
    EXPECT_EQ(TIFFGetField(written, TIFFTAG_ORIENTATION, &orientation), 1);
    EXPECT_EQ(TIFFGetField(written, TIFFTAG_XRESOLUTION, &pixelsPerInch), 1);
    EXPECT_EQ(orientation, ORIENTATION_TOPLEFT);
    EXPECT_NEAR(static_cast<double>(pixelsPerInch), 300, 0.01);
    TIFFClose(written);
}

TEST(Orientation, ThatDoesNotExistIsNoOrientation) {
    const TestFolder folder;
    vipsImage(makeImage(width, height, {}, smoothValue))
        .jpegsave((folder / "shot").c_str(), vips::VImage::option()->set("Q", 98));
    const std::string bytes = test::readFile(folder / "shot");
    for (const int orientation : {0, 9, 200}) {
        std::string tagged = bytes;
        (void)folder.write("tagged", tagged.insert(2, exifBlock(orientation)));
        const Image decoded = decodeImage(folder / "tagged");
        EXPECT_EQ(decoded.pixelsWide(), width) << orientation;
        EXPECT_LE(differenceBetween(decoded, decodeImage(folder / "shot")).largest, 0)
            << orientation;
    }
}

TEST(Orientation, TurningALargePictureLeavesNoScratchFile) {
    const TestFolder folder;
    test::writeTiffAs(stored(6, {}, exactValue), folder / "shot", {.orientation = 6});
    const auto entriesIn = [](const fs::path& path) {
        return std::distance(fs::directory_iterator(path), fs::directory_iterator());
    };
    const auto before = entriesIn(workingFolder());
    EXPECT_FALSE(decodeImage(folder / "shot").isNull());
    EXPECT_EQ(entriesIn(workingFolder()), before);
}

}  // namespace lumaweave
