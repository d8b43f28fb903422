// SPDX-License-Identifier: GPL-3.0-or-later
#include "fusion/AlikeInputs.h"

#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "imaging/decoding/ImageDecoder.h"
#include "imaging/tiff/Conversion.h"
#include "imaging/tiff/TiffFile.h"
#include "imaging/tiff/TiffWriter.h"
#include "platform/WorkingFolder.h"
#include "support/FileSizeLimit.h"
#include "support/FormatFixtures.h"
#include "support/LogRecorder.h"
#include "support/Pictures.h"
#include "support/PixelFormats.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;
using test::differenceBetween;
using test::grey8;
using test::greyAlpha16;
using test::makeImage;
using test::rgb16;
using test::rgb8;
using test::rgbFloat;
using testing::ElementsAre;

namespace {

double scene(int x, int y, int s) {
    return ((x * 7 + y * 13 + s * 31) % 97) / 96.0;
}

class AlikeInputsTest : public testing::Test {
  protected:
    // A working copy of this format.
    static RunInput working(const char* name, const PixelFormat& format) {
        const Image image = makeImage(40, 30, format, scene);
        const fs::path file = workingFolder() / name;
        EXPECT_TRUE(writeTiff(image, file, Write::plain));
        return {file, image};
    }
    // The same, in the colours of this profile.
    static RunInput working(const char* name, const PixelFormat& format,
                            const QByteArray& profile) {
        RunInput input = {workingFolder() / name,
                          test::withProfile(makeImage(40, 30, format, scene), profile)};
        EXPECT_TRUE(writeTiff(input.image, input.file, Write::plain));
        return input;
    }
    // What the tool gets for an input.
    static Image given(const AlikeInputs& alike, std::size_t input) {
        return mapTiff(alike.files()[input]).value_or(Image());
    }
    static std::vector<std::string> workingFiles() { return test::namesIn(workingFolder()); }

    test::TestFolder folder;
};

}  // namespace

TEST_F(AlikeInputsTest, TheTypeIsTheLastThatTheCommandNames) {
    EXPECT_EQ(requestedType("\"tool\" -o \"out.tif\" --depth=8"), SampleType::uint8);
    EXPECT_EQ(requestedType("\"tool\" -o \"out.tif\" --depth=16"), SampleType::uint16);
    EXPECT_EQ(requestedType("\"tool\" -o \"out.tif\" --depth=r32"), SampleType::float32);
    EXPECT_EQ(requestedType("\"tool\" -o \"a --depth=r32.tif\" --depth=16"), SampleType::uint16);
}

TEST_F(AlikeInputsTest, InputsThatAreAlikeAreGivenAsTheyAre) {
    const RunInput a = working("a.tif", rgb8);
    const RunInput b = working("b.tif", rgb8);
    const auto before = workingFiles();
    const AlikeInputs alike({a, b});
    EXPECT_EQ(alike.type(), SampleType::uint8);
    EXPECT_THAT(alike.files(), ElementsAre(a.file, b.file));
    EXPECT_EQ(workingFiles(), before);
}

TEST_F(AlikeInputsTest, AllAreAsDeepAsTheDeepestAndRgbWhenAnyIs) {
    const RunInput a = working("a.tif", grey8);
    const RunInput b = working("b.tif", greyAlpha16);
    const RunInput c = working("c.tif", rgbFloat);
    const AlikeInputs alike({a, b, c});
    EXPECT_EQ(alike.type(), SampleType::float32);
    EXPECT_EQ(given(alike, 0).format(), rgbFloat);
    EXPECT_EQ(given(alike, 1).format(), (PixelFormat{3, true, SampleType::float32}));
    EXPECT_EQ(alike.files()[2], c.file);
    const std::vector<double> grey = test::samplesOf(a.image);
    const std::vector<double> colours = test::samplesOf(given(alike, 0));
    for (std::size_t i = 0; i < grey.size(); ++i) {
        for (std::size_t s = 0; s < 3; ++s)
            ASSERT_NEAR(colours[3 * i + s], grey[i], 1e-6);
    }
    // Alpha is kept.
    EXPECT_NEAR(test::samplesOf(given(alike, 1))[3], test::samplesOf(b.image)[1], 1e-6);
}

TEST_F(AlikeInputsTest, CopiesGoWithTheRunAndInputsNeverChange) {
    const RunInput a = working("a.tif", grey8);
    const RunInput b = working("b.tif", rgb16);
    const std::string before = test::readFile(a.file);
    const auto files = workingFiles();
    {
        const AlikeInputs alike({a, b});
        EXPECT_NE(alike.files()[0], a.file);
        EXPECT_EQ(alike.files()[0].parent_path(), workingFolder());
    }
    EXPECT_EQ(test::readFile(a.file), before);
    EXPECT_EQ(workingFiles(), files);
}

TEST_F(AlikeInputsTest, FilesOfThePersonsOwnAreConvertedIntoCopies) {
    const Image image = makeImage(40, 30, grey8, scene);
    const fs::path own = folder / "own.tif";
    test::saveImage(image, own);
    const std::string before = test::readFile(own);
    const AlikeInputs alike({{own, decodeImage(own)}, working("b.tif", rgb8)});
    EXPECT_EQ(given(alike, 0).format(), rgb8);
    EXPECT_EQ(alike.files()[0].parent_path(), workingFolder());
    EXPECT_EQ(test::readFile(own), before);
}

TEST_F(AlikeInputsTest, ColoursAreConvertedToTheProfileOfTheFirst) {
    const QByteArray adobe = test::profileOf(test::adobeRgbSpace);
    const RunInput a = working("a.tif", rgb16, adobe);
    const RunInput b = working("b.tif", rgb16);
    const RunInput c =
        working("c.tif", {3, true, SampleType::uint16}, test::profileOf(test::displayP3Space));
    const AlikeInputs alike({a, b, c});
    EXPECT_EQ(alike.type(), SampleType::uint16);
    EXPECT_EQ(alike.files()[0], a.file);
    for (const std::size_t input : {std::size_t{1}, std::size_t{2}}) {
        const Image& source = input == 1 ? b.image : c.image;
        const auto& space = input == 1 ? test::srgbSpace : test::displayP3Space;
        const Image converted = given(alike, input);
        EXPECT_EQ(converted.format(), source.format());
        EXPECT_EQ(converted.colourProfile(), adobe);
        const auto wanted = test::samplesOf(source);
        const auto got = test::samplesOf(converted);
        const auto samples = static_cast<std::size_t>(source.format().samples());
        int compared = 0;
        for (std::size_t i = 0; i < wanted.size(); i += samples) {
            const auto is = test::inSrgb(test::adobeRgbSpace, {got[i], got[i + 1], got[i + 2]});
            const auto was = test::inSrgb(space, {wanted[i], wanted[i + 1], wanted[i + 2]});
            // What Adobe RGB cannot show is clipped.
            const auto isInside = [](double value) { return value > 0.002 && value < 0.998; };
            if (!isInside(got[i]) || !isInside(got[i + 1]) || !isInside(got[i + 2])) continue;
            ++compared;
            for (std::size_t s = 0; s < 3; ++s)
                ASSERT_NEAR(is[s], was[s], 0.004) << i << ' ' << s;
            if (samples == 4) {
                ASSERT_NEAR(got[i + 3], wanted[i + 3], 1e-6);
            }
        }
        EXPECT_GT(compared, 500);
    }
}

TEST_F(AlikeInputsTest, AShotThatHasGoneLeavesNoTrace) {
    const RunInput a = working("a.tif", rgb16);
    const RunInput b = working("b.tif", rgb16, test::profileOf(test::adobeRgbSpace));
    const RunInput c = working("c.tif", rgb16, test::profileOf(test::adobeRgbSpace));
    EXPECT_THAT(AlikeInputs({a, b, c}).files(),
                ElementsAre(a.file, testing::Ne(b.file), testing::Ne(c.file)));
    const AlikeInputs alike({b, c});
    EXPECT_THAT(alike.files(), ElementsAre(b.file, c.file));
    EXPECT_EQ(differenceBetween(given(alike, 0), b.image).largest, 0);
}

TEST_F(AlikeInputsTest, ProfilesThatSayTheSameAreNoReasonToConvert) {
    const RunInput a = working("a.tif", rgb16);
    const RunInput b = working("b.tif", rgb16, test::profileOf(test::srgbSpace));
    ASSERT_FALSE(b.image.colourProfile().isEmpty());
    EXPECT_THAT(AlikeInputs({a, b}).files(), ElementsAre(a.file, b.file));
}

TEST_F(AlikeInputsTest, GreyShotsGetTheToneCurveOfTheFirst) {
    const RunInput a = working("a.tif", grey8, test::greyProfileOf(1.8));
    const RunInput b = working("b.tif", grey8);
    const AlikeInputs alike({a, b});
    EXPECT_EQ(given(alike, 1).format(), grey8);
    EXPECT_EQ(given(alike, 1).colourProfile(), a.image.colourProfile());
    const auto was = test::samplesOf(b.image);
    const auto is = test::samplesOf(given(alike, 1));
    for (std::size_t i = 0; i < was.size(); ++i)
        ASSERT_NEAR(is[i], std::pow(test::srgbDecoded(was[i]), 1 / 1.8), 1.01 / 255);
}

TEST_F(AlikeInputsTest, AProfileThatCannotBeUsedIsTakenForSrgb) {
    const QByteArray adobe = test::profileOf(test::adobeRgbSpace);
    const RunInput good = working("a.tif", rgb16, adobe);
    const RunInput bad = working("b.tif", rgb16, test::profileOf(test::displayP3Space).left(200));
    const RunInput plain = working("c.tif", rgb16);
    // It decides nothing, wherever it stands.
    for (const auto& inputs : {std::vector{good, bad, plain}, std::vector{bad, good, plain}}) {
        const test::LogRecorder log;
        const AlikeInputs alike(inputs);
        EXPECT_THAT(log.lines(), testing::Contains("Colour profile not used: it cannot be read"));
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_EQ(given(alike, i).colourProfile(), adobe);
        const std::size_t badAt = inputs[0].file == bad.file ? 0 : 1;
        EXPECT_LE(differenceBetween(given(alike, badAt), given(alike, 2)).largest, 1e-6);
    }
    // With no other kind beside it there is nothing to convert.
    EXPECT_THAT(AlikeInputs({bad, bad}).files(), ElementsAre(bad.file, bad.file));
}

TEST_F(AlikeInputsTest, OneShotInColoursWithAnUnusableProfileDecidesOnNothingForGreyOnes) {
    const RunInput grey = working("a.tif", grey8);
    const RunInput bad = working("b.tif", rgb8, test::profileOf(test::adobeRgbSpace).left(200));
    const AlikeInputs alike({grey, bad});
    EXPECT_EQ(given(alike, 0).format(), rgb8);
    EXPECT_TRUE(given(alike, 0).colourProfile().isEmpty());
    EXPECT_TRUE(given(alike, 1).colourProfile().isEmpty());
}

// As the alignment tool leaves them.
TEST_F(AlikeInputsTest, CompressedWorkingFilesAreKnownByTheirShots) {
    const RunInput plain = working("a.tif", rgb8);
    const Image deep = makeImage(40, 30, rgbFloat, scene);
    const fs::path compressed = workingFolder() / "b.tif";
    test::saveCompressedTiff(deep, compressed);
    ASSERT_FALSE(mapTiff(compressed));
    const AlikeInputs alike({plain, {compressed, deep}});
    EXPECT_EQ(alike.type(), SampleType::float32);
    EXPECT_EQ(given(alike, 0).format(), rgbFloat);
    EXPECT_EQ(alike.files()[1], compressed);
    const RunInput grey = working("c.tif", {1, false, SampleType::float32});
    EXPECT_THAT(AlikeInputs({grey, {compressed, makeImage(40, 30, grey8, scene)}}).files(),
                ElementsAre(grey.file, testing::Ne(compressed)));
}

TEST_F(AlikeInputsTest, WithoutRoomForACopyTheyAreNotComplete) {
    const RunInput a = working("a.tif", grey8);
    const RunInput b = working("b.tif", rgb8);
    const auto files = workingFiles();
    {
        const test::FileSizeLimit limit(1000);
        EXPECT_FALSE(AlikeInputs({a, b}).areComplete());
        EXPECT_TRUE(AlikeInputs({b, b}).areComplete());
    }
    EXPECT_TRUE(AlikeInputs({a, b}).areComplete());
    EXPECT_EQ(workingFiles(), files);
}

TEST_F(AlikeInputsTest, AFileThatCannotBeReadIsGivenAsItIs) {
    const RunInput a = {workingFolder() / "missing.tif", {}};
    const RunInput b = working("b.tif", grey8);
    const auto files = workingFiles();
    const AlikeInputs alike({a, b});
    EXPECT_THAT(alike.files(), ElementsAre(a.file, b.file));
    EXPECT_TRUE(alike.areComplete());
    EXPECT_EQ(workingFiles(), files);
}

TEST_F(AlikeInputsTest, AResultIsTurnedIntoTheTypeInPlace) {
    const fs::path result = folder / "result.tif";
    const Image fused =
        makeImage(40, 30, rgbFloat, [](int x, int y, int s) { return scene(x, y, s) * 2 - 0.5; });
    ASSERT_TRUE(writeTiff(fused, result, Write::plain));
    turnInto(SampleType::uint16, result);
    const Image turned = *mapTiff(result);
    EXPECT_EQ(turned.format(), (PixelFormat{3, false, SampleType::uint16}));
    const Image clipped = makeImage(40, 30, rgbFloat, [](int x, int y, int s) {
        return std::min(1.0, std::max(0.0, scene(x, y, s) * 2 - 0.5));
    });
    EXPECT_LE(differenceBetween(turned, clipped).largest, 0.51 / 65535);
    // A file that cannot be turned does not stay as a result.
    const fs::path half = folder.write("half.tif", test::readFile(result).substr(0, 3000));
    turnInto(SampleType::uint8, half);
    EXPECT_FALSE(fs::exists(half));
    // The longest name that a file can have.
    const fs::path longName = folder / (std::string(251, 'n') + ".tif");
    ASSERT_TRUE(writeTiff(fused, longName, Write::plain));
    turnInto(SampleType::uint8, longName);
    EXPECT_EQ(decodeImage(longName).format().type, SampleType::uint8);
    // There is nothing to turn.
    turnInto(SampleType::uint8, folder / "missing.tif");
    EXPECT_FALSE(fs::exists(folder / "missing.tif"));
}

TEST_F(AlikeInputsTest, EveryDepthBecomesEveryOtherToTheNearestSample) {
    const SampleType types[] = {SampleType::uint8, SampleType::uint16, SampleType::float32};
    for (const SampleType from : types) {
        for (const SampleType to : types) {
            const Image image = makeImage(40, 30, {3, true, from}, scene);
            const fs::path file = folder / "converted.tif";
            ASSERT_TRUE(writeConverted(image, {to, 3, {}}, file));
            const double half = to == SampleType::uint8 ? 0.5 / 255 : 0.5 / 65535;
            EXPECT_LE(differenceBetween(*mapTiff(file), image).largest, half * 1.01)
                << static_cast<int>(from) << static_cast<int>(to);
        }
    }
}

}  // namespace lumaweave
