// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/HeldPixels.h"

#include <gtest/gtest.h>

#include <limits>

#include "imaging/ImagingSupport.h"
#include "imaging/formats/VipsLibrary.h"
#include "support/HostileFiles.h"
#include "support/TestFolder.h"

// What a header says that a decoder has to hold.

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using vips::VImage;

class HeldPixelsTest : public testing::Test {
  protected:
    HeldPixelsTest() {
        startVips();
        picture = vipsImage(asymmetricPicture(50, 40));
    }
    [[nodiscard]] std::uint64_t heldOf(const std::string& name) const {
        return pixelBytesHeldAtOnce(folder / name);
    }
    [[nodiscard]] std::string path(const std::string& name) const {
        return (folder / name).native();
    }

    TestFolder folder;
    VImage picture;
};

TEST_F(HeldPixelsTest, NothingForWhatIsReadRowByRow) {
    picture.jpegsave(path("a.jpg").c_str());
    picture.pngsave(path("a.png").c_str());
    EXPECT_EQ(heldOf("a.jpg"), 0U);
    EXPECT_EQ(heldOf("a.png"), 0U);
}

TEST_F(HeldPixelsTest, TheWholePictureForWhatIsNot) {
    picture.jpegsave(path("a.jpg").c_str(), VImage::option()->set("interlace", true));
    picture.pngsave(path("a.png").c_str(), VImage::option()->set("interlace", true));
    EXPECT_EQ(heldOf("a.jpg"), 50U * 40 * 3 * 2);
    EXPECT_EQ(heldOf("a.png"), 50U * 40 * 8);
}

TEST_F(HeldPixelsTest, TwiceTheWholePictureOfEveryKindOfWebp) {
    picture.webpsave(path("lossy.webp").c_str());
    picture.webpsave(path("lossless.webp").c_str(), VImage::option()->set("lossless", true));
    picture.webpsave(path("more.webp").c_str(), VImage::option()->set("profile", "srgb"));
    for (const char* name : {"lossy.webp", "lossless.webp", "more.webp"})
        EXPECT_EQ(heldOf(name), 50U * 40 * 8) << name;
}

TEST_F(HeldPixelsTest, AStripOrARowOfTilesOfATiff) {
    picture.tiffsave(
        path("tiles.tif").c_str(),
        VImage::option()->set("tile", true)->set("tile_width", 16)->set("tile_height", 32));
    EXPECT_EQ(heldOf("tiles.tif"), 50U * 32 * 3);
    writeTiffAs(asymmetricPicture(50, 40, {.type = SampleType::uint16}), folder / "big-endian.tif",
                {.mode = "wb"});
    EXPECT_LE(heldOf("big-endian.tif"), 50U * 40 * 6);
    EXPECT_GT(heldOf("big-endian.tif"), 0U);
}

TEST_F(HeldPixelsTest, TheWholePictureOfATiffOfUncommonSamples) {
    const Image floats = asymmetricPicture(50, 40, {.type = SampleType::float32});
    writeTiffAs(floats, folder / "float.tif", {});
    EXPECT_LE(heldOf("float.tif"), 50U * 40 * 12) << "a strip";
    picture.tiffsave(path("luminance.tif").c_str(),
                     VImage::option()->set("compression", "jpeg")->set("Q", 50));
    EXPECT_EQ(heldOf("luminance.tif"), 50U * 40 * 12);
    // It claims samples of 64 bits.
    const Image grey = asymmetricPicture(50, 40, {.colours = 1, .type = SampleType::float32});
    writeTiffAs(grey, folder / "double.tif", {});
    changeTag(folder / "double.tif", 0x0102, 64);
    EXPECT_EQ(heldOf("double.tif"), 50U * 40 * 12);
    // Colours that were multiplied by their alpha.
    const Image see = asymmetricPicture(50, 40, {.alpha = true, .type = SampleType::float32});
    writeTiffAs(see, folder / "alpha.tif", {});
    EXPECT_LT(heldOf("alpha.tif"), 50U * 40 * 16 + 1);
    changeTag(folder / "alpha.tif", 0x0152, 1);
    EXPECT_EQ(heldOf("alpha.tif"), 50U * 40 * 16);
}

TEST_F(HeldPixelsTest, NobodyKnowsHowMuchOfADamagedTiff) {
    picture.tiffsave(path("whole.tif").c_str());
    const std::string bytes = readFile(folder / "whole.tif");
    EXPECT_LT(heldOf("whole.tif"), 100'000U);
    folder.write("cut.tif", bytes.substr(0, bytes.size() - 1));
    EXPECT_EQ(heldOf("cut.tif"), std::numeric_limits<std::uint64_t>::max());
}

TEST_F(HeldPixelsTest, WhatAHeaderClaimsAndTheFileDoesNotHave) {
    folder.write("a.png", interlacedPngThatClaims(1U << 31, 1U << 31));
    EXPECT_GT(heldOf("a.png"), std::uint64_t{1} << 62) << "and no overflow";
    folder.write("a.jpg", jpegOfManyScans(80, 60));
    EXPECT_EQ(heldOf("a.jpg"), 80U * 60 * 3 * 2);
}

TEST_F(HeldPixelsTest, NothingForWhatIsNoPicture) {
    folder.write("words.jpg", "words that are long enough to be taken for a header of a picture");
    folder.write("empty.jpg", "");
    folder.write("jpeg.jpg", "\xFF\xD8\xFF\xE0" + std::string(100, '\xFF'));
    for (const char* name : {"words.jpg", "empty.jpg", "jpeg.jpg", "not there.jpg"})
        EXPECT_EQ(heldOf(name), 0U) << name;
    EXPECT_EQ(pixelBytesHeldAtOnce(folder.path()), 0U);
}

}  // namespace lumaweave
