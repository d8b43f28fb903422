// SPDX-License-Identifier: GPL-3.0-or-later

// Photographs of every kind on their whole way: loaded, handed to the real tool, fused.

#include <QButtonGroup>
#include <QCheckBox>
#include <QPushButton>
#include <QRadioButton>
#include <cmath>
#include <functional>
#include <ostream>

#include "imaging/decoding/ImageDecoder.h"
#include "imaging/formats/VipsLibrary.h"
#include "imaging/tiff/TiffFile.h"
#include "imaging/tiff/TiffWriter.h"
#include "preview/PreviewWindow.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"
#include "stack/WorkingFiles.h"
#include "support/Colours.h"
#include "support/FileSizeLimit.h"
#include "support/FormatFixtures.h"
#include "support/FusionByHand.h"
#include "support/PixelFormats.h"
#include "support/Printed.h"
#include "support/ProgramFixture.h"
#include "widgets/ImageView.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::IsEmpty;

namespace {

constexpr int width = 150;
constexpr int height = 100;

// Two exposures of one scene, smooth enough for lossy formats.
Image shot(double exposure, const PixelFormat& format) {
    return makeImage(width, height, format, [exposure](int x, int y, int s) {
        const double light =
            0.02 + 0.25 * (1 + std::sin(0.05 * x + 0.4 * s)) * (1 + std::cos(0.06 * y)) / 2;
        return srgbEncoded(std::min(1.0, light * exposure));
    });
}

// The light that a picture of display values stands for.
Image lightOf(const Image& picture) {
    const std::vector<double> samples = samplesOf(picture);
    return makeImage(width, height, rgbFloat, [&](int x, int y, int s) {
        return srgbDecoded(samples[static_cast<std::size_t>((y * width + x) * 3 + s)]);
    });
}

using WriteShot = std::function<void(const Image& picture, const fs::path& path)>;

struct Kind {
    const char* name;
    PixelFormat format;  // as it must arrive at the tool
    WriteShot write;
    double tolerance;  // of the fused picture, in levels of 255
};

void PrintTo(const Kind& kind, std::ostream* stream) {
    *stream << kind.name;
}

std::vector<Kind> kinds() {
    const auto png = [](const Image& picture, const fs::path& path) {
        vipsImage(picture).pngsave(path.c_str());
    };
    return {
        {"Jpeg", rgb8, [](auto& p, auto& to) { writeJpeg(p, to, {}); }, 4},
        {"Png16", rgb16, png, 0.01},
        {"Tiff8", rgb8, saveCompressedTiff, 0},
        {"Tiff16", rgb16, saveCompressedTiff, 0},
        {"TiffFloat", rgbFloat, saveCompressedTiff, 0},
        {"Webp", rgb8,
         [](auto& p, auto& to) {
             vipsImage(p).webpsave(to.c_str(), vips::VImage::option()->set("lossless", true));
         },
         0},
        {"Heic8", rgb8, [](auto& p, auto& to) { writeHeif(p, to, {}); }, 3},
        {"Heic10", rgb16, [](auto& p, auto& to) { writeHeif(p, to, {.bits = 10}); }, 1},
        {"Heic12", rgb16, [](auto& p, auto& to) { writeHeif(p, to, {.bits = 12}); }, 0.3},
        {"Avif10", rgb16, [](auto& p, auto& to) { writeHeif(p, to, {.av1 = true, .bits = 10}); },
         3},
        {"Avif12", rgb16, [](auto& p, auto& to) { writeHeif(p, to, {.av1 = true, .bits = 12}); },
         0.3},
        {"Jpeg2000In8", rgb8, [](auto& p, auto& to) { writeJpeg2000(p, to, {}); }, 0},
        {"Jpeg2000In12", rgb16, [](auto& p, auto& to) { writeJpeg2000(p, to, {.bits = 12}); }, 0.1},
        {"Jpeg2000In16", rgb16, [](auto& p, auto& to) { writeJpeg2000(p, to, {.bits = 16}); }, 0},
        {"JpegXl16", rgb16, [](auto& p, auto& to) { writeJxl(p, to); }, 0},
        {"JpegXlFloat", rgbFloat, [](auto& p, auto& to) { writeJxl(lightOf(p), to); }, 0.01},
        {"OpenExr", rgbFloat, [](auto& p, auto& to) { writeExr(lightOf(p), to, {}); }, 0.01},
        {"OpenExrHalf", rgbFloat,
         [](auto& p, auto& to) { writeExr(lightOf(p), to, {.half = true}); }, 0.3},
        {"Radiance", rgbFloat, [](auto& p, auto& to) { writeRadiance(lightOf(p), to); }, 3},
    };
}

class FormatFusion : public ProgramTest, public testing::WithParamInterface<Kind> {};

INSTANTIATE_TEST_SUITE_P(All, FormatFusion, testing::ValuesIn(kinds()),
                         [](const auto& kind) { return std::string(kind.param.name); });

// Runs an echoed line on other inputs, into another file.
Image fusedFrom(const std::string& line, const std::vector<fs::path>& inputs,
                const fs::path& output) {
    const std::vector<std::string> parts = quotedParts(line);
    OtherNames names = {{parts.at(1), output}};
    for (std::size_t i = 0; i < inputs.size(); ++i)
        names.emplace_back(parts.at(2 + i), inputs[i]);
    return fusedByHand(line, names);
}

}  // namespace

TEST_P(FormatFusion, TwoShotsFuseToTheRightPixels) {
    const Kind& kind = GetParam();
    const Image dark = shot(0.5, kind.format);
    const Image light = shot(2, kind.format);
    kind.write(dark, folder / "dark.dat");
    kind.write(light, folder / "light.dat");
    windows->settingsPanel()->outputDepthMatrix()->button(2)->setChecked(true);
    dropAndWait({folder / "dark.dat", folder / "light.dat"});
    for (int i = 0; i < 2; ++i) {
        const auto copy = mapTiff(cell(i).urlToImageFile());
        ASSERT_TRUE(copy);
        EXPECT_EQ(copy->format(), kind.format) << "nothing is lost";
        EXPECT_LE(differenceBetween(*copy, i == 0 ? dark : light).largest * 255, kind.tolerance);
    }
    const fs::path result = folder / "fused.tif";
    const auto commands =
        echoedCommands(printedWhile([&result] { fuseFullSize(result); }), result.native());
    ASSERT_FALSE(commands.empty());
    const std::vector<fs::path> references = {folder / "a.tif", folder / "b.tif"};
    ASSERT_TRUE(writeTiff(dark, references[0], Write::plain));
    ASSERT_TRUE(writeTiff(light, references[1], Write::plain));
    const Image expected = fusedFrom(commands.back(), references, folder / "expected.tif");
    const Image fused = decodeImage(result);
    ASSERT_FALSE(expected.isNull());
    EXPECT_EQ(fused.format(), expected.format());
    // The tool weighs pixels by their brightness in steps, so that inputs which differ by next to
    // nothing can fuse to up to half a level apart.
    const double steps = kind.tolerance > 0 ? 0.5 : 1e-4;
    EXPECT_LE(differenceBetween(fused, expected).largest * 255, kind.tolerance + steps);
    EXPECT_FALSE(windows->previewWindow()->enfusedView()->image().isNull());
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

class RawFusion : public ProgramTest {};

TEST_F(RawFusion, ABracketOfRawFilesArrivesWithSixteenBitsAndIsFused) {
    for (const auto& [name, exposure] :
         {std::pair("dark.dng", 0.25), std::pair("light.dng", 1.0)}) {
        writeDng(width, height,
                 [exposure = exposure](int x, int y, int) {
                     return exposure * (0.02 + 0.9 * x / width * (0.5 + 0.5 * y / height));
                 },
                 folder / name, {});
    }
    windows->settingsPanel()->outputDepthMatrix()->button(1)->setChecked(true);
    dropAndWait({folder / "dark.dng", folder / "light.dng"});
    std::vector<double> middles;
    for (int i = 0; i < 2; ++i) {
        const auto copy = mapTiff(cell(i).urlToImageFile());
        ASSERT_TRUE(copy);
        EXPECT_EQ(copy->format(), rgb16);
        const std::vector<double> middle = samplesOf(copy->cropped(QRectF(75, 50, 1, 1), 1, 1));
        middles.push_back(srgbDecoded(middle[1]));
    }
    EXPECT_NEAR(std::log2(middles[1] / middles[0]), 2, 0.1);
    fuseFullSize(folder / "fused.tif");
    const Image fused = decodeImage(folder / "fused.tif");
    EXPECT_EQ(fused.format().type, SampleType::uint16);
    // Between its two shots.
    const double value = srgbDecoded(samplesOf(fused.cropped(QRectF(75, 50, 1, 1), 1, 1))[1]);
    EXPECT_GT(value, middles[0]);
    EXPECT_LT(value, middles[1]);
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

// Shots that the tool would not take together as they are.
class MixedStack : public ProgramTest {
  protected:
    // Fuses two files at the depth of this row, and gives the result.
    Image fuse(const fs::path& a, const fs::path& b, int depthRow) {
        windows->settingsPanel()->outputDepthMatrix()->button(depthRow)->setChecked(true);
        dropAndWait({a, b});
        const fs::path result = folder / ("fused" + std::to_string(depthRow) + ".tif");
        fuseFullSize(result);
        EXPECT_THAT(alerts.texts(), IsEmpty());
        EXPECT_FALSE(windows->previewWindow()->enfusedView()->image().isNull());
        EXPECT_FALSE(windows->previewWindow()->detailView()->image().isNull());
        return decodeImage(result);
    }
    // Two shots of one colour fuse to that colour.
    static void expectColour(const Image& fused, const std::array<double, 3>& wanted,
                             double tolerance) {
        ASSERT_FALSE(fused.isNull());
        const QColor middle = middleOf(fused.toScreen());
        EXPECT_THAT(middle, isNear(levelsOf(wanted), tolerance));
        EXPECT_EQ(middle.alpha(), 255);
    }
    static Image patch(const PixelFormat& format, const std::array<double, 3>& filling) {
        return plainPicture(width, height, filling, format);
    }
    fs::path save(const Image& image, const char* name) const {
        EXPECT_TRUE(writeTiff(image, folder / name, Write::plain));
        return folder / name;
    }

    static constexpr std::array<double, 3> colour = {0.6, 0.5, 0.4};
    static constexpr std::array<double, 3> grey = {0.5, 0.5, 0.5};
};

TEST_F(MixedStack, OfEightAndSixteenBit) {
    const Image fused =
        fuse(save(patch(rgb8, colour), "a.tif"), save(patch(rgb16, colour), "b.tif"), 1);
    EXPECT_EQ(fused.format().type, SampleType::uint16);
    expectColour(fused, colour, 1);
    EXPECT_EQ(mapTiff(cell(0).urlToImageFile())->format(), rgb8) << "the working copy stays";
}

TEST_F(MixedStack, OfSixteenBitAndFloats) {
    expectColour(
        fuse(save(patch(rgb16, colour), "a.tif"), save(patch(rgbFloat, colour), "b.tif"), 2),
        colour, 1);
}

TEST_F(MixedStack, OfGreyAndColoursWithoutProfiles) {
    expectColour(fuse(save(patch(grey8, grey), "a.tif"), save(patch(rgb8, grey), "b.tif"), 0), grey,
                 1);
}

TEST_F(MixedStack, OfGreyAndColoursWithProfilesOfTheirOwn) {
    // What the grey shows by its profile, in the space of the shot in colours.
    const double stored = 0.55;
    const double light = std::pow(stored, 1.8);
    const double inAdobe = std::pow(light, 1 / adobeRgbSpace.gamma);
    for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
        const Image greyShot = withProfile(
            makeImage(width, height, {1, false, type}, [&](int, int, int) { return stored; }),
            greyProfileOf(1.8));
        const Image colourShot = withProfile(patch({3, false, type}, {inAdobe, inAdobe, inAdobe}),
                                             profileOf(adobeRgbSpace));
        const double shown = srgbEncoded(light);
        expectColour(
            fuse(save(greyShot, "a.tif"), save(colourShot, "b.tif"), static_cast<int>(type)),
            {shown, shown, shown}, 2);
        windows->sourcesWindow()->clearAllCellsAction(nullptr);
        EXPECT_TRUE(waitForBackgroundTasks());
    }
}

TEST_F(MixedStack, OfColoursWithDifferentProfiles) {
    // One colour in the numbers of two spaces.
    const Image inSrgbItself = patch(rgb16, inSrgb(adobeRgbSpace, colour));
    const Image inAdobe = withProfile(patch(rgb16, colour), profileOf(adobeRgbSpace));
    for (const bool adobeFirst : {false, true}) {
        const fs::path a = save(adobeFirst ? inAdobe : inSrgbItself, "a.tif");
        const fs::path b = save(adobeFirst ? inSrgbItself : inAdobe, "b.tif");
        const Image fused = fuse(a, b, 1);
        EXPECT_EQ(fused.colourProfile(), adobeFirst ? profileOf(adobeRgbSpace) : QByteArray());
        expectColour(fused, inSrgb(adobeRgbSpace, colour), 1);
        const QColor shown = middleOf(windows->previewWindow()->enfusedView()->image());
        EXPECT_NEAR(shown.redF(), inSrgb(adobeRgbSpace, colour)[0], 0.005);
        windows->sourcesWindow()->clearAllCellsAction(nullptr);
        EXPECT_TRUE(waitForBackgroundTasks());
        fs::remove(folder / "fused1.tif");
    }
}

TEST_F(MixedStack, OfGreyShotsAloneStaysGrey) {
    const Image fused =
        fuse(save(patch(grey8, grey), "a.tif"), save(patch(grey8, grey), "b.tif"), 0);
    EXPECT_EQ(fused.format().colours, 1);
    EXPECT_EQ(mapTiff(cell(0).urlToImageFile())->format(), grey8);
}

TEST_F(MixedStack, WithoutRoomForTheCopiesIsNotFused) {
    const std::vector<fs::path> shots = {save(patch(grey8, grey), "a.tif"),
                                         save(patch(rgb8, grey), "b.tif")};
    dropAndWait(shots);
    {
        const FileSizeLimit limit(20'000);
        fuseFullSize(folder / "fused.tif");
    }
    EXPECT_THAT(alerts.texts(),
                testing::Contains(testing::HasSubstr("The working folder cannot be written")));
    EXPECT_FALSE(fs::exists(folder / "fused.tif"));
}

TEST_F(MixedStack, OfThePersonsOwnFilesIsFusedAndTheyStay) {
    const fs::path mine = save(patch(grey8, grey), "mine.tif");
    const fs::path other =
        save(withProfile(patch(rgb16, colour), profileOf(adobeRgbSpace)), "other.tif");
    const fs::path third = save(patch(rgb8, inSrgb(adobeRgbSpace, colour)), "third.tif");
    const std::vector<std::string> before = {readFile(mine), readFile(other), readFile(third)};
    windows->sourcesWindow()->ensureValidTIFFFilesCheckBox()->setChecked(false);
    expectColour(fuse(other, third, 1), inSrgb(adobeRgbSpace, colour), 1);
    EXPECT_EQ(cell(0).urlToImageFile(), other);
    dropAndWait({mine});
    fuseFullSize(folder / "three.tif");
    EXPECT_EQ(decodeImage(folder / "three.tif").format().colours, 3);
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ((std::vector{readFile(mine), readFile(other), readFile(third)}), before);
}

// The tool itself would stretch floats to the whole range, and make every pixel transparent.
TEST_F(MixedStack, FloatsAreFusedIntoIntegersAsTheyAre) {
    const Image ramp = makeImage(width, height, rgbFloat, [](int x, int, int s) {
        return 0.3 + 0.3 * x / width + 0.02 * s;
    });
    for (const int row : {0, 1}) {
        const Image fused = fuse(save(ramp, "a.tif"), save(ramp, "b.tif"), row);
        EXPECT_EQ(fused.format(),
                  (PixelFormat{3, true, row == 0 ? SampleType::uint8 : SampleType::uint16}));
        const Image opaque = makeImage(
            width, height, {3, true, SampleType::float32},
            [](int x, int, int s) { return s == 3 ? 1 : 0.3 + 0.3 * x / width + 0.02 * s; });
        // The pyramid rounds; half a level of the type comes from the integers.
        EXPECT_LE(differenceBetween(fused, opaque).largest, row == 0 ? 0.51 / 255 : 1e-3);
        const QColor shown = middleOf(windows->previewWindow()->enfusedView()->image());
        EXPECT_EQ(shown.alpha(), 255);
        EXPECT_NEAR(shown.redF(), 0.45F, 0.01F);
        windows->sourcesWindow()->clearAllCellsAction(nullptr);
        EXPECT_TRUE(waitForBackgroundTasks());
    }
}

TEST_F(MixedStack, AnEarlierFileThatAFailedRunHasNotTouchedIsNotTurned) {
    // The run does not remove an earlier file of this name beforehand.
    const fs::path earlier = save(patch(rgbFloat, colour), "結果.tif");
    const std::string before = readFile(earlier);
    dropAndWait({save(patch(rgbFloat, colour), "a.tif"), save(patch(rgbFloat, colour), "b.tif")});
    windows->settingsPanel()->outputDepthMatrix()->button(1)->setChecked(true);
    replaceFusionTool("exit 1");
    fuseFullSize(earlier);
    EXPECT_EQ(readFile(earlier), before);
}

TEST_F(MixedStack, LightBeyondWhiteIsKeptAndShownAsWhite) {
    const Image bright = makeImage(width, height, rgbFloat,
                                   [](int x, int, int) { return x < width / 2 ? 0.2 : 8.0; });
    writeExr(bright, folder / "a.exr", {});
    writeExr(bright, folder / "b.exr", {});
    const Image fused = fuse(folder / "a.exr", folder / "b.exr", 2);
    const auto at = [&](double x) { return samplesOf(fused.cropped({x, 50, 1, 1}, 1, 1))[0]; };
    EXPECT_NEAR(at(30), srgbEncoded(0.2), 0.01);
    EXPECT_NEAR(at(120), srgbEncoded(8), 0.02);
    const QImage screen = fused.toScreen();
    EXPECT_EQ(screen.pixelColor(120, 50).red(), 255);
    EXPECT_NEAR(screen.pixelColor(30, 50).red(), srgbEncoded(0.2) * 255, 2);
}

}  // namespace lumaweave
