// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/tiff/TiffFile.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <tiffio.h>

#include <filesystem>

#include "ImagingSupport.h"
#include "imaging/picture/PixelData.h"
#include "imaging/tiff/TiffWriter.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;
using test::asymmetricPicture;
using test::TestFolder;
using test::TiffShape;
using test::writeTiffAs;

namespace {

constexpr int width = 40;
constexpr int height = 30;
constexpr PixelFormat rgb16 = {3, false, SampleType::uint16};
constexpr PixelFormat rgba16 = {3, true, SampleType::uint16};

bool readsAsShown(const TiffShape& shape, const PixelFormat& format = {}) {
    const TestFolder folder;
    writeTiffAs(asymmetricPicture(width, height, format), folder / "shot.tif", shape);
    return fusionToolReadsAsShown(folder / "shot.tif");
}

}  // namespace

TEST(FusionToolReadsAsShown, UprightStripsOfEveryFormat) {
    for (const PixelFormat& format : test::everyFormat())
        EXPECT_TRUE(readsAsShown({}, format)) << test::nameOf(format);
}

TEST(FusionToolReadsAsShown, CompressedStripsOfEitherByteOrder) {
    EXPECT_TRUE(readsAsShown({.compression = COMPRESSION_LZW}));
    EXPECT_TRUE(readsAsShown({.compression = COMPRESSION_ADOBE_DEFLATE}, rgb16));
    EXPECT_TRUE(readsAsShown({.compression = COMPRESSION_PACKBITS}));
    EXPECT_TRUE(readsAsShown({.mode = "wb"}, rgb16));
}

TEST(FusionToolReadsAsShown, WhatTheProgramWritesItself) {
    const TestFolder folder;
    for (const PixelFormat& format : test::everyFormat()) {
        ASSERT_TRUE(
            writeTiff(asymmetricPicture(width, height, format), folder / "own.tif", Write::plain));
        EXPECT_TRUE(fusionToolReadsAsShown(folder / "own.tif")) << test::nameOf(format);
    }
}

TEST(FusionToolReadsAsShown, NotTiles) {
    EXPECT_FALSE(readsAsShown({.tiled = true}));
    EXPECT_FALSE(readsAsShown({.compression = COMPRESSION_LZW, .tiled = true}, rgb16));
}

TEST(FusionToolReadsAsShown, NotAPictureThatLiesOnItsSide) {
    for (const int orientation : {2, 3, 4, 5, 6, 7, 8}) {
        EXPECT_FALSE(readsAsShown({.orientation = static_cast<std::uint16_t>(orientation)}))
            << orientation;
    }
    EXPECT_TRUE(readsAsShown({.orientation = 1}));
}

TEST(FusionToolReadsAsShown, NotOtherColours) {
    const TestFolder folder;
    constexpr PixelFormat grey = {1, false, SampleType::uint8};
    test::writePaletteTiff(asymmetricPicture(width, height, grey), folder / "palette.tif");
    EXPECT_FALSE(fusionToolReadsAsShown(folder / "palette.tif"));
    EXPECT_FALSE(
        readsAsShown({.photometric = PHOTOMETRIC_SEPARATED}, {3, true, SampleType::uint8}));
    EXPECT_FALSE(readsAsShown({.photometric = PHOTOMETRIC_MINISWHITE}, grey));
    EXPECT_FALSE(readsAsShown({.photometric = PHOTOMETRIC_ICCLAB}));
}

TEST(FusionToolReadsAsShown, NotOtherDepths) {
    constexpr PixelFormat rgb32 = {3, false, SampleType::float32};
    EXPECT_FALSE(readsAsShown({.sampleFormat = SAMPLEFORMAT_UINT}, rgb32));
    EXPECT_FALSE(readsAsShown({.sampleFormat = SAMPLEFORMAT_INT}, rgb32));
    EXPECT_FALSE(readsAsShown({.sampleFormat = SAMPLEFORMAT_INT}, rgb16));
}

TEST(FusionToolReadsAsShown, NotColoursThatAreMultipliedByTheirAlpha) {
    EXPECT_FALSE(readsAsShown({.kindOfAlpha = EXTRASAMPLE_ASSOCALPHA}, rgba16));
    EXPECT_TRUE(readsAsShown({.kindOfAlpha = EXTRASAMPLE_UNASSALPHA}, rgba16));
}

TEST(FusionToolReadsAsShown, NotSeveralPages) {
    EXPECT_FALSE(readsAsShown({.pages = 2}));
    EXPECT_FALSE(readsAsShown({.pages = 3}, rgb16));
}

TEST(FusionToolReadsAsShown, NotAPictureOnALargerCanvas) {
    EXPECT_FALSE(readsAsShown({.xPosition = 1.5F}));
    EXPECT_FALSE(readsAsShown({.yPosition = 2.0F}));
    EXPECT_TRUE(readsAsShown({.xPosition = 0.0F, .yPosition = 0.0F}));
}

TEST(FusionToolReadsAsShown, NotSeparatePlanesNorJpegNorLongOffsets) {
    EXPECT_FALSE(readsAsShown({.separatePlanes = true}));
    EXPECT_FALSE(readsAsShown({.compression = COMPRESSION_JPEG}));
    EXPECT_FALSE(readsAsShown({.mode = "w8"}));
}

TEST(FusionToolReadsAsShown, NothingButTiff) {
    const TestFolder folder;
    const Image picture = asymmetricPicture(width, height);
    for (const char* name : {"shot.jpg", "shot.png", "shot.webp"}) {
        test::saveImage(picture, folder / name);
        EXPECT_FALSE(fusionToolReadsAsShown(folder / name)) << name;
    }
    EXPECT_FALSE(fusionToolReadsAsShown(folder.write("empty.tif", "")));
    EXPECT_FALSE(
        fusionToolReadsAsShown(folder.write("header.tif", std::string("II*\0\10\0\0\0", 8))));
    EXPECT_FALSE(fusionToolReadsAsShown(folder.write("text.tif", "no picture")));
    EXPECT_FALSE(fusionToolReadsAsShown(folder.path()));
    EXPECT_FALSE(fusionToolReadsAsShown(folder / "missing.tif"));
    ASSERT_EQ(mkfifo((folder / "pipe.tif").c_str(), 0600), 0);
    EXPECT_FALSE(fusionToolReadsAsShown(folder / "pipe.tif"));
}

// libtiff's messages go nowhere, though nobody has started a library that takes them.
TEST(FusionToolReadsAsShown, NothingIsPrintedAboutDamagedFiles) {
    const TestFolder folder;
    ASSERT_TRUE(writeTiff(asymmetricPicture(width, height), folder / "own.tif", Write::plain));
    const std::string whole = test::readFile(folder / "own.tif");
    testing::internal::CaptureStderr();
    for (const std::size_t length : {9U, 100U, 3700U}) {
        const auto path = folder.write("damaged.tif", whole.substr(0, length));
        EXPECT_FALSE(fusionToolReadsAsShown(path)) << length;
        EXPECT_FALSE(mapTiff(path)) << length;
    }
    // An unknown tag is worth a warning to libtiff.
    test::changeTag(folder / "own.tif", TIFFTAG_RESOLUTIONUNIT, 77);
    EXPECT_TRUE(mapTiff(folder / "own.tif"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(MapTiff, GivesWhatTheProgramWrote) {
    const TestFolder folder;
    for (const PixelFormat& format : test::everyFormat()) {
        const Image picture = asymmetricPicture(width, height, format);
        ASSERT_TRUE(writeTiff(picture, folder / "own.tif", Write::plain));
        const auto mapped = mapTiff(folder / "own.tif");
        ASSERT_TRUE(mapped) << test::nameOf(format);
        EXPECT_EQ(mapped->format(), format);
        EXPECT_EQ(test::differenceBetween(*mapped, picture).largest, 0) << test::nameOf(format);
    }
}

TEST(MapTiff, GivesProfileAndResolution) {
    const TestFolder folder;
    PixelBuffer buffer(8, 4, rgb16);
    buffer.description().colourProfile = test::builtInProfile("p3");
    buffer.description().pixelsPerMillimetre = 300 / 25.4;
    const Image picture = std::move(buffer).finish();
    ASSERT_TRUE(writeTiff(picture, folder / "own.tif", Write::plain));
    const auto mapped = mapTiff(folder / "own.tif");
    ASSERT_TRUE(mapped);
    EXPECT_EQ(mapped->colourProfile(), picture.colourProfile());
    EXPECT_NEAR(mapped->pixels().pixelsPerMillimetre, 300 / 25.4, 1e-4);
}

TEST(MapTiff, GivesNothingOfAnotherShape) {
    const TestFolder folder;
    const fs::path path = folder / "shot.tif";
    for (const TiffShape& shape :
         {TiffShape{.compression = COMPRESSION_LZW}, TiffShape{.tiled = true},
          TiffShape{.separatePlanes = true}, TiffShape{.mode = "wb"},
          TiffShape{.photometric = PHOTOMETRIC_ICCLAB}}) {
        writeTiffAs(asymmetricPicture(width, height, rgb16), path, shape);
        EXPECT_FALSE(mapTiff(path));
    }
    EXPECT_FALSE(mapTiff(folder / "missing.tif"));
    EXPECT_FALSE(mapTiff(folder.path()));
    EXPECT_FALSE(mapTiff(folder.write("text.tif", "no picture")));
}

TEST(MapTiff, GivesNothingWhenTheHeaderPromisesMoreThanThereIs) {
    const TestFolder folder;
    const fs::path path = folder / "own.tif";
    for (const int tag : {TIFFTAG_IMAGELENGTH, TIFFTAG_IMAGEWIDTH}) {
        ASSERT_TRUE(writeTiff(asymmetricPicture(width, height, rgb16), path, Write::plain));
        ASSERT_TRUE(mapTiff(path));
        test::changeTag(path, tag, 1000);
        EXPECT_FALSE(mapTiff(path)) << tag;
    }
}

}  // namespace lumaweave
