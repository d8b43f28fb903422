// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>

#include <filesystem>

#include "ImagingSupport.h"
#include "imaging/decoding/ImageDecoder.h"
#include "imaging/formats/VipsLibrary.h"
#include "imaging/tiff/TiffWriter.h"
#include "support/PrivateMemory.h"
#include "support/TestFolder.h"

// Where the pixels of a decoded picture lie, and how long they live.

namespace lumaweave {

namespace fs = std::filesystem;
using test::asymmetricPicture;
using test::differenceBetween;
using test::privateMemory;
using test::TestFolder;
using vips::VImage;

namespace {

class DecodedPixelsTest : public testing::Test {
  protected:
    DecodedPixelsTest() {
        test::writeTiffAs(picture, folder / "shot.tif", {});
        decoded = decodeToTiff(folder / "shot.tif", tiff).image;
    }
    void expectWhole() const { EXPECT_EQ(differenceBetween(decoded, picture).largest, 0); }

    TestFolder folder;
    const fs::path tiff = folder / "decoded.tif";
    const Image picture = asymmetricPicture(301, 207);
    Image decoded;
};

// A JPEG of 24 megapixels, made without holding its pixels.
fs::path largeJpeg(const TestFolder& folder, int orientation = 1) {
    startVips();
    const VImage ramp = VImage::grey(6000, 4000, VImage::option()->set("uchar", true));
    VImage picture = ramp.bandjoin(ramp).bandjoin(ramp).copy(
        VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
    picture.set(VIPS_META_ORIENTATION, orientation);
    picture.jpegsave((folder / "large.jpg").c_str());
    return folder / "large.jpg";
}

// What the libraries take for themselves once.
void warmUp(const TestFolder& folder) {
    test::saveImage(asymmetricPicture(64, 64), folder / "small.jpg");
    EXPECT_FALSE(decodeImage(folder / "small.jpg").isNull());
}

// The pixels are 72 million bytes. A sanitizer keeps freed memory for a while.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr long long allowedGrowth = 60'000'000;
#else
constexpr long long allowedGrowth = 40'000'000;
#endif

}  // namespace

TEST_F(DecodedPixelsTest, OutliveTheirFile) {
    fs::remove(tiff);
    expectWhole();
}

TEST_F(DecodedPixelsTest, OutliveTheSource) {
    fs::remove(folder / "shot.tif");
    (void)folder.write("shot.tif", "");
    expectWhole();
}

TEST_F(DecodedPixelsTest, StayWhenTheirFileIsRenamed) {
    fs::rename(tiff, folder / "elsewhere.tif");
    (void)folder.write("decoded.tif", "another file");
    expectWhole();
}

TEST_F(DecodedPixelsTest, StayWhenTheirFileIsWrittenAnew) {
    for (const Write how : {Write::plain, Write::atomic}) {
        const Image other = asymmetricPicture(20, 10);
        ASSERT_TRUE(writeTiff(other, tiff, how));
        expectWhole();
    }
    // Also with the picture's own pixels, which come from the very file that goes.
    decoded = decodeToTiff(folder / "shot.tif", tiff).image;
    ASSERT_TRUE(writeTiff(decoded, tiff, Write::plain));
    expectWhole();
}

TEST_F(DecodedPixelsTest, StayWhenTheirFileIsDecodedAnew) {
    test::writeTiffAs(asymmetricPicture(20, 10), folder / "shot.tif", {});
    const Image second = decodeToTiff(folder / "shot.tif", tiff).image;
    expectWhole();
    EXPECT_EQ(differenceBetween(second, asymmetricPicture(20, 10)).largest, 0);
}

TEST_F(DecodedPixelsTest, AreSharedByCopiesAndOutliveTheFirst) {
    const Image copy = decoded;
    EXPECT_TRUE(copy.sharesPixelsWith(decoded));
    decoded = Image();
    EXPECT_TRUE(decoded.isNull());
    EXPECT_EQ(differenceBetween(copy, picture).largest, 0);
}

// ThreadSanitizer notes every byte that is read in four private ones of its own.
#ifdef __SANITIZE_THREAD__
constexpr long long shadowOfReadPixels = 4LL * 6000 * 4000 * 3;
#else
constexpr long long shadowOfReadPixels = 0;
#endif

TEST_F(DecodedPixelsTest, OfALargePictureAreNotPrivateMemory) {
    const fs::path large = largeJpeg(folder);
    warmUp(folder);
    const long long before = privateMemory();
    const Image inFile = decodeToTiff(large, folder / "large.tif").image;
    ASSERT_EQ(inFile.pixelsWide(), 6000);
    EXPECT_LT(privateMemory() - before, allowedGrowth);
    const Image forLooking = decodeImage(large);
    ASSERT_EQ(forLooking.pixelsHigh(), 4000);
    EXPECT_LT(privateMemory() - before, allowedGrowth);
    // Reading them does not make them private either.
    EXPECT_EQ(forLooking.scaled(60, 40).pixelsWide(), 60);
    EXPECT_LT(privateMemory() - before, allowedGrowth + shadowOfReadPixels);
}

TEST_F(DecodedPixelsTest, OfALargePictureThatWasTurnedAreNotPrivateMemory) {
    const fs::path large = largeJpeg(folder, 6);
    warmUp(folder);
    const long long before = privateMemory();
    const Image turned = decodeImage(large);
    ASSERT_EQ(turned.pixelsWide(), 4000);
    ASSERT_EQ(turned.pixelsHigh(), 6000);
    EXPECT_LT(privateMemory() - before, allowedGrowth);
}

}  // namespace lumaweave
