// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <lcms2.h>
#include <tiffio.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <vector>

#include "ImagingSupport.h"
#include "imaging/decoding/ImageDecoder.h"
#include "imaging/formats/VipsLibrary.h"
#include "support/FormatFixtures.h"
#include "support/TestFolder.h"

// Patches of known colours, from a file onto the screen. The test computes what they must be there
// by itself, and not with what the program uses; but for inks, whose tables only the colour library
// can read.

namespace lumaweave {

namespace fs = std::filesystem;
using test::makeImage;
using test::RgbSpace;
using test::TestFolder;

namespace {

using Colour = std::array<double, 3>;

// Inside sRGB when they are taken as colours of any of these spaces.
const std::vector<Colour> patches = {{0, 0, 0},          {1, 1, 1},          {0.5, 0.5, 0.5},
                                     {0.55, 0.5, 0.45},  {0.45, 0.5, 0.46},  {0.4, 0.42, 0.5},
                                     {0.62, 0.55, 0.55}, {0.25, 0.27, 0.25}, {0.9, 0.88, 0.82}};

class KnownPatchesTest : public testing::Test {
  protected:
    // One patch after the other, four pixels wide.
    static Image picture(const PixelFormat& format, const std::vector<Colour>& colours) {
        return makeImage(4 * static_cast<int>(colours.size()), 4, format, [&](int x, int, int s) {
            return s == format.colours
                       ? 1.0
                       : colours[static_cast<std::size_t>(x / 4)][static_cast<std::size_t>(s)];
        });
    }
    void expectOnScreen(const std::vector<Colour>& expected, double tolerance) const {
        const Image decoded = decodeToTiff(file, folder / "decoded.tif").image;
        ASSERT_FALSE(decoded.isNull());
        const QImage screen = decoded.toScreen();
        for (std::size_t i = 0; i < expected.size(); ++i) {
            SCOPED_TRACE("patch " + std::to_string(i));
            const QColor shown = screen.pixelColor(static_cast<int>(4 * i + 1), 2);
            EXPECT_NEAR(shown.red(), expected[i][0] * 255, tolerance);
            EXPECT_NEAR(shown.green(), expected[i][1] * 255, tolerance);
            EXPECT_NEAR(shown.blue(), expected[i][2] * 255, tolerance);
        }
    }

    TestFolder folder;
    const fs::path file = folder / "shot.dat";
};

std::vector<Colour> inSrgb(const RgbSpace& space, const std::vector<Colour>& colours) {
    std::vector<Colour> result;
    for (const Colour& colour : colours)
        result.push_back(test::inSrgb(space, colour));
    return result;
}

}  // namespace

TEST_F(KnownPatchesTest, OfWideSpacesInEveryDepth) {
    for (const RgbSpace& space :
         {test::adobeRgbSpace, test::proPhotoSpace, test::displayP3Space, test::srgbSpace}) {
        for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
            SCOPED_TRACE(space.name + std::to_string(static_cast<int>(type)));
            test::writeTiffAs(
                test::withProfile(picture({3, false, type}, patches), test::profileOf(space)), file,
                {});
            // Rounding in the file (8 bits of a wide space are coarse) and on the screen.
            expectOnScreen(inSrgb(space, patches), type == SampleType::uint8 ? 2 : 1.1);
        }
    }
}

TEST_F(KnownPatchesTest, OfGreyWithAGammaOfItsOwn) {
    for (const double gamma : {1.0, 1.8, 2.2}) {
        for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
            const std::vector<double> stored = {0, 0.1, 0.3, 0.5, 0.8, 1};
            const Image image = makeImage(24, 4, {1, false, type}, [&](int x, int, int) {
                return stored[static_cast<std::size_t>(x / 4)];
            });
            test::writeTiffAs(test::withProfile(image, test::greyProfileOf(gamma)), file, {});
            std::vector<Colour> expected;
            for (const double value : stored) {
                const double inFile =
                    type == SampleType::uint8 ? std::round(value * 255) / 255 : value;
                const double shown = test::srgbEncoded(std::pow(inFile, gamma));
                expected.push_back({shown, shown, shown});
            }
            expectOnScreen(expected, 2);
        }
    }
}

TEST_F(KnownPatchesTest, OfPicturesWithoutAProfile) {
    for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
        test::writeTiffAs(picture({3, false, type}, patches), file, {});
        expectOnScreen(patches, 0.51);
    }
}

namespace {

// The Lab of an sRGB colour, relative to the white of profiles.
Colour labOf(const Colour& colour) {
    constexpr double matrix[3][3] = {{0.4360747, 0.3850649, 0.1430804},
                                     {0.2225045, 0.7168786, 0.0606169},
                                     {0.0139322, 0.0971045, 0.7141733}};
    constexpr double white[] = {0.9642, 1.0, 0.8249};
    double f[3];
    for (int i = 0; i < 3; ++i) {
        double value = 0;
        for (int j = 0; j < 3; ++j)
            value += matrix[i][j] * test::srgbDecoded(colour[static_cast<std::size_t>(j)]);
        value /= white[i];
        f[i] = value > 216.0 / 24389 ? std::cbrt(value) : (24389.0 / 27 * value + 16) / 116;
    }
    return {116 * f[1] - 16, 500 * (f[0] - f[1]), 200 * (f[1] - f[2])};
}

// As the file stores Lab: lightness from 0 to full, the others as signed numbers.
Image labPicture(SampleType type) {
    const bool deep = type == SampleType::uint16;
    const double full = deep ? 65535 : 255;
    return makeImage(
        4 * static_cast<int>(patches.size()), 4, {3, false, type}, [&](int x, int, int s) {
            const Colour lab = labOf(patches[static_cast<std::size_t>(x / 4)]);
            if (s == 0) return lab[0] / 100;
            const double number = std::round(lab[static_cast<std::size_t>(s)] * (deep ? 256 : 1));
            return (number < 0 ? number + full + 1 : number) / full;
        });
}

}  // namespace

TEST_F(KnownPatchesTest, OfLab) {
    test::writeTiffAs(labPicture(SampleType::uint8), file, {.photometric = PHOTOMETRIC_CIELAB});
    expectOnScreen(patches, 4);  // whole numbers of a and b are that coarse
    EXPECT_EQ(decodeImage(file).format().type, SampleType::uint8);
    test::writeTiffAs(labPicture(SampleType::uint16), file, {.photometric = PHOTOMETRIC_CIELAB});
    expectOnScreen(patches, 1.1);
    EXPECT_EQ(decodeImage(file).format().type, SampleType::uint16);
}

namespace {

struct Inks {
    double cyan, magenta, yellow, black;
};
const std::vector<Inks> inks = {{0, 0, 0, 0},       {0, 0, 0, 1},        {1, 0, 0, 0},
                                {0, 1, 0, 0},       {0, 0, 1, 0},        {0.4, 0.3, 0.3, 0.1},
                                {0.1, 0.5, 0.6, 0}, {0.6, 0.2, 0.1, 0.2}};

Image inkPicture(SampleType type) {
    return makeImage(4 * static_cast<int>(inks.size()), 4, {3, true, type}, [](int x, int, int s) {
        const Inks& ink = inks[static_cast<std::size_t>(x / 4)];
        return s == 0 ? ink.cyan : s == 1 ? ink.magenta : s == 2 ? ink.yellow : ink.black;
    });
}

std::vector<Colour> onPaper(const QByteArray& profile) {
    cmsHPROFILE from =
        cmsOpenProfileFromMem(profile.constData(), static_cast<cmsUInt32Number>(profile.size()));
    cmsHPROFILE to = cmsCreate_sRGBProfile();
    cmsHTRANSFORM transform =
        cmsCreateTransform(from, TYPE_CMYK_DBL, to, TYPE_RGB_DBL, INTENT_RELATIVE_COLORIMETRIC, 0);
    std::vector<Colour> colours;
    for (const Inks& ink : inks) {
        const double percent[] = {ink.cyan * 100, ink.magenta * 100, ink.yellow * 100,
                                  ink.black * 100};
        Colour colour{};
        cmsDoTransform(transform, percent, colour.data(), 1);
        for (double& value : colour)
            value = std::min(1.0, std::max(0.0, value));
        colours.push_back(colour);
    }
    cmsDeleteTransform(transform);
    cmsCloseProfile(from);
    cmsCloseProfile(to);
    return colours;
}

}  // namespace

TEST_F(KnownPatchesTest, OfInks) {
    const QByteArray profile = test::builtInProfile("cmyk");
    const std::vector<Colour> expected = onPaper(profile);
    // White paper and dark ink: the expectation itself is one.
    EXPECT_GT(expected[0][1], 0.97);
    EXPECT_LT(expected[1][1], 0.25);
    for (const SampleType type : {SampleType::uint8, SampleType::uint16}) {
        for (const bool withProfile : {true, false}) {
            const Image image =
                test::withProfile(inkPicture(type), withProfile ? profile : QByteArray());
            test::writeTiffAs(image, file, {.photometric = PHOTOMETRIC_SEPARATED});
            expectOnScreen(expected, 2);
            EXPECT_EQ(decodeImage(file).format(), (PixelFormat{3, false, type}));
        }
    }
    for (const bool luminance : {false, true}) {
        test::writeJpeg(test::withProfile(inkPicture(SampleType::uint8), profile), file,
                        {.quality = 100, .inks = true, .luminanceOfInks = luminance});
        SCOPED_TRACE(luminance ? "YCCK" : "CMYK");
        expectOnScreen(expected, luminance ? 8 : 4);
    }
}

TEST_F(KnownPatchesTest, OfAvifWhoseColoursAreNamedByNumber) {
    constexpr int displayP3 = 12;
    test::writeHeif(picture({3, false, SampleType::uint16}, patches), file,
                    {.av1 = true, .bits = 10, .primaries = displayP3});
    EXPECT_FALSE(decodeImage(file).colourProfile().isEmpty());
    expectOnScreen(inSrgb(test::displayP3Space, patches), 2);
    constexpr int srgb = 1;
    test::writeHeif(picture({3, false, SampleType::uint16}, patches), file,
                    {.av1 = true, .bits = 10, .primaries = srgb});
    EXPECT_TRUE(decodeImage(file).colourProfile().isEmpty());
    expectOnScreen(patches, 1.1);
}

}  // namespace lumaweave
