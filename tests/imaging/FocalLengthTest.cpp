// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/metadata/FocalLength.h"

#include <gmock/gmock.h>

#include <exiv2/exiv2.hpp>

#include "platform/WorkingFolder.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::DoubleNear;
using testing::Optional;

namespace {

class FocalLengthTest : public testing::Test {
  protected:
    FocalLengthTest() { createWorkingFolder(); }
    ~FocalLengthTest() override { removeWorkingFolder(); }

    // A picture with these entries.
    fs::path photograph(const std::string& name, const Exiv2::ExifData& exif) {
        fs::path file = folder / name;
        saveImage(makeImage(60, 40, {}, sceneAt(1)), file);
        const auto image = Exiv2::ImageFactory::open(file.native());
        image->setExifData(exif);
        image->writeMetadata();
        return file;
    }
    // What a 24 x 16 mm sensor of 6000 x 4000 pixels writes for a 16 mm lens.
    static Exiv2::ExifData sensor(int unit, double perUnit) {
        Exiv2::ExifData exif;
        exif["Exif.Photo.FocalLength"] = Exiv2::Rational(16, 1);
        exif["Exif.Photo.PixelXDimension"] = std::uint32_t{6000};
        exif["Exif.Photo.PixelYDimension"] = std::uint32_t{4000};
        exif["Exif.Photo.FocalPlaneResolutionUnit"] = static_cast<std::uint16_t>(unit);
        const auto resolution = Exiv2::Rational(static_cast<std::int32_t>(perUnit * 1000), 1000);
        exif["Exif.Photo.FocalPlaneXResolution"] = resolution;
        exif["Exif.Photo.FocalPlaneYResolution"] = resolution;
        return exif;
    }

    TestFolder folder;
};

}  // namespace

TEST_F(FocalLengthTest, IsWhatTheCameraGivesForTheSmallFrame) {
    Exiv2::ExifData exif = sensor(3, 2500);
    exif["Exif.Photo.FocalLengthIn35mmFilm"] = std::uint16_t{28};
    EXPECT_EQ(focalLengthIn35mm(photograph("a.jpg", exif)), 28);
    EXPECT_EQ(focalLengthIn35mm(photograph("a.tif", exif)), 28);
    EXPECT_EQ(focalLengthIn35mm(photograph("a.png", exif)), 28);
    EXPECT_EQ(focalLengthIn35mm(photograph("a.webp", exif)), 28);
}

TEST_F(FocalLengthTest, IsReckonedFromTheSensorOtherwise) {
    EXPECT_THAT(focalLengthIn35mm(photograph("a.jpg", sensor(3, 2500))),
                Optional(DoubleNear(24, 0.01)));
    EXPECT_THAT(focalLengthIn35mm(photograph("b.jpg", sensor(2, 6350))),
                Optional(DoubleNear(24, 0.01)));
}

TEST_F(FocalLengthTest, ZeroMeansUnknown) {
    Exiv2::ExifData exif = sensor(3, 2500);
    exif["Exif.Photo.FocalLengthIn35mmFilm"] = std::uint16_t{0};
    EXPECT_THAT(focalLengthIn35mm(photograph("a.jpg", exif)), Optional(DoubleNear(24, 0.01)));
    exif["Exif.Photo.FocalLength"] = Exiv2::Rational(0, 0);
    EXPECT_EQ(focalLengthIn35mm(photograph("b.jpg", exif)), std::nullopt);
}

TEST_F(FocalLengthTest, ASensorThatCannotBeIsPassedOver) {
    EXPECT_EQ(focalLengthIn35mm(photograph("a.jpg", sensor(3, 100000))), std::nullopt);
    EXPECT_EQ(focalLengthIn35mm(photograph("b.jpg", sensor(3, 100))), std::nullopt);
}

TEST_F(FocalLengthTest, FilesThatDoNotTellGiveNone) {
    EXPECT_EQ(focalLengthIn35mm(photograph("a.jpg", {})), std::nullopt);
    EXPECT_EQ(focalLengthIn35mm(folder.write("words.jpg", "words")), std::nullopt);
    EXPECT_EQ(focalLengthIn35mm(folder.write("empty.jpg", "")), std::nullopt);
    EXPECT_EQ(focalLengthIn35mm(folder / "not there.jpg"), std::nullopt);
    EXPECT_EQ(focalLengthIn35mm(folder.path()), std::nullopt);
    EXPECT_EQ(focalLengthIn35mm("/dev/zero"), std::nullopt);
    EXPECT_EQ(focalLengthIn35mm({}), std::nullopt);
}

TEST_F(FocalLengthTest, ATruncatedFileDoesNoHarm) {
    const std::string whole = readFile(photograph("a.jpg", sensor(3, 2500)));
    for (std::size_t size = 1; size < 400; size += 7) {
        (void)focalLengthIn35mm(folder.write("truncated.jpg", whole.substr(0, size)));
    }
}

}  // namespace lumaweave
