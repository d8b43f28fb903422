#include "fusion/AlikeInputs.h"

#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <vector>

#include "imaging/Conversion.h"
#include "imaging/ImageDecoder.h"
#include "imaging/TiffFile.h"
#include "imaging/TiffWriter.h"
#include "platform/WorkingFolder.h"
#include "support/FormatFixtures.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;
using test::differenceBetween;
using test::makeImage;

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
    // The same with colours that say something else in each profile.
    static RunInput working(const char* name, const PixelFormat& format,
                            const QByteArray& profile) {
        RunInput input = {workingFolder() / name,
                          test::withProfile(makeImage(40, 30, format, scene), profile)};
        EXPECT_TRUE(writeTiff(input.image, input.file, Write::plain));
        return input;
    }
    static PixelFormat formatOf(const RunInput& input) { return mapTiff(input.file)->format(); }

    test::TestFolder folder;
};

constexpr PixelFormat grey8 = {1, false, SampleType::uint8};
constexpr PixelFormat greyAlpha16 = {1, true, SampleType::uint16};
constexpr PixelFormat rgb8 = {3, false, SampleType::uint8};
constexpr PixelFormat rgb16 = {3, false, SampleType::uint16};
constexpr PixelFormat rgbFloat = {3, false, SampleType::float32};

}  // namespace

TEST_F(AlikeInputsTest, TheTypeIsTheLastThatTheCommandNames) {
    EXPECT_EQ(requestedType("\"tool\" -o \"out.tif\" --depth=8"), SampleType::uint8);
    EXPECT_EQ(requestedType("\"tool\" -o \"out.tif\" --depth=16"), SampleType::uint16);
    EXPECT_EQ(requestedType("\"tool\" -o \"out.tif\" --depth=r32"), SampleType::float32);
    EXPECT_EQ(requestedType("\"tool\" -o \"a --depth=r32.tif\" --depth=16"), SampleType::uint16);
}

TEST_F(AlikeInputsTest, InputsThatAreAlikeAreNotTouched) {
    const RunInput a = working("a.tif", rgb8);
    const RunInput b = working("b.tif", rgb8);
    const std::string before = test::readFile(a.file);
    const auto written = fs::last_write_time(a.file);
    EXPECT_EQ(makeAlike({a, b}), SampleType::uint8);
    EXPECT_EQ(test::readFile(a.file), before);
    EXPECT_EQ(fs::last_write_time(a.file), written);
}

TEST_F(AlikeInputsTest, AllBecomeAsDeepAsTheDeepestAndRgbWhenAnyIs) {
    const RunInput a = working("a.tif", grey8);
    const RunInput b = working("b.tif", greyAlpha16);
    const RunInput c = working("c.tif", rgbFloat);
    EXPECT_EQ(makeAlike({a, b, c}), SampleType::float32);
    EXPECT_EQ(formatOf(a), rgbFloat);
    EXPECT_EQ(formatOf(b), (PixelFormat{3, true, SampleType::float32}));
    EXPECT_EQ(formatOf(c), rgbFloat);
    const Image raised = *mapTiff(a.file);
    const std::vector<double> grey = test::samplesOf(a.image);
    const std::vector<double> colours = test::samplesOf(raised);
    for (std::size_t i = 0; i < grey.size(); ++i) {
        for (std::size_t s = 0; s < 3; ++s)
            ASSERT_NEAR(colours[3 * i + s], grey[i], 1e-6);
    }
    // Alpha is kept.
    EXPECT_NEAR(test::samplesOf(*mapTiff(b.file))[3], test::samplesOf(b.image)[1], 1e-6);
    // A second time there is nothing to do.
    const auto written = fs::last_write_time(a.file);
    EXPECT_EQ(makeAlike({a, b, c}), SampleType::float32);
    EXPECT_EQ(fs::last_write_time(a.file), written);
}

TEST_F(AlikeInputsTest, ShotsMappedFromTheFileKeepTheirPixels) {
    const RunInput a = working("a.tif", grey8);
    const Image mapped = *mapTiff(a.file);
    EXPECT_EQ(makeAlike({{a.file, mapped}, working("b.tif", rgb8)}), SampleType::uint8);
    EXPECT_EQ(mapped.format(), grey8);
    EXPECT_EQ(differenceBetween(mapped, a.image).largest, 0);
}

TEST_F(AlikeInputsTest, FilesOfThePersonsOwnStayAsTheyAre) {
    const Image image = makeImage(40, 30, grey8, scene);
    const fs::path own = folder / "own.tif";
    ASSERT_TRUE(writeTiff(image, own, Write::plain));
    const std::string before = test::readFile(own);
    EXPECT_EQ(makeAlike({{own, image}, working("b.tif", rgb8)}), SampleType::uint8);
    EXPECT_EQ(test::readFile(own), before);
}

TEST_F(AlikeInputsTest, ColoursAreConvertedToTheProfileOfTheFirst) {
    const QByteArray adobe = test::profileOf(test::adobeRgbSpace);
    const RunInput a = working("a.tif", rgb16, adobe);
    const RunInput b = working("b.tif", rgb16);
    const RunInput c =
        working("c.tif", {3, true, SampleType::uint16}, test::profileOf(test::displayP3Space));
    const std::string before = test::readFile(a.file);
    EXPECT_EQ(makeAlike({a, b, c}), SampleType::uint16);
    EXPECT_EQ(test::readFile(a.file), before);
    for (const RunInput& input : {b, c}) {
        const Image converted = *mapTiff(input.file);
        EXPECT_EQ(converted.format(), input.image.format());
        EXPECT_EQ(converted.colourProfile(), adobe);
        const auto& space = input.file == b.file ? test::srgbSpace : test::displayP3Space;
        const auto wanted = test::samplesOf(input.image);
        const auto got = test::samplesOf(converted);
        const auto samples = static_cast<std::size_t>(input.image.format().samples());
        int compared = 0;
        for (std::size_t i = 0; i < wanted.size(); i += samples) {
            const auto is = test::inSrgb(test::adobeRgbSpace, {got[i], got[i + 1], got[i + 2]});
            const auto was = test::inSrgb(space, {wanted[i], wanted[i + 1], wanted[i + 2]});
            // What Adobe RGB cannot show is clipped, and dark colours move fast with it.
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
    // A second time there is nothing to do.
    const auto written = fs::last_write_time(b.file);
    EXPECT_EQ(makeAlike({a, b, c}), SampleType::uint16);
    EXPECT_EQ(fs::last_write_time(b.file), written);
}

TEST_F(AlikeInputsTest, ProfilesThatSayTheSameAreNoReasonToConvert) {
    const RunInput a = working("a.tif", rgb16);
    const RunInput b = working("b.tif", rgb16, test::profileOf(test::srgbSpace));
    ASSERT_FALSE(b.image.colourProfile().isEmpty());
    const std::string before = test::readFile(b.file);
    EXPECT_EQ(makeAlike({a, b}), SampleType::uint16);
    EXPECT_EQ(test::readFile(b.file), before);
}

TEST_F(AlikeInputsTest, GreyShotsGetTheToneCurveOfTheFirst) {
    const RunInput a = working("a.tif", grey8, test::greyProfileOf(1.8));
    const RunInput b = working("b.tif", grey8);
    EXPECT_EQ(makeAlike({a, b}), SampleType::uint8);
    const Image converted = *mapTiff(b.file);
    EXPECT_EQ(converted.format(), grey8);
    EXPECT_EQ(converted.colourProfile(), a.image.colourProfile());
    const auto was = test::samplesOf(b.image);
    const auto is = test::samplesOf(converted);
    for (std::size_t i = 0; i < was.size(); ++i)
        ASSERT_NEAR(is[i], std::pow(test::srgbDecoded(was[i]), 1 / 1.8), 1.01 / 255);
}

TEST_F(AlikeInputsTest, AnUnusableProfileLeavesTheNumbersAsTheyAre) {
    const QByteArray adobe = test::profileOf(test::adobeRgbSpace);
    const RunInput a = working("a.tif", rgb16, adobe);
    const RunInput b = working("b.tif", rgb16, test::profileOf(test::displayP3Space).left(200));
    EXPECT_EQ(makeAlike({a, b}), SampleType::uint16);
    EXPECT_EQ(differenceBetween(*mapTiff(b.file), b.image).largest, 0);
    EXPECT_EQ(mapTiff(b.file)->colourProfile(), adobe);
}

TEST_F(AlikeInputsTest, AFileOfThePersonsOwnDecidesOnTheProfile) {
    const QByteArray adobe = test::profileOf(test::adobeRgbSpace);
    const Image image = test::withProfile(makeImage(40, 30, rgb16, scene), adobe);
    const fs::path own = folder / "own.tif";
    ASSERT_TRUE(writeTiff(image, own, Write::plain));
    const RunInput a = working("a.tif", rgb16);
    EXPECT_EQ(makeAlike({a, {own, image}}), SampleType::uint16);
    EXPECT_EQ(mapTiff(a.file)->colourProfile(), adobe);
    EXPECT_GT(differenceBetween(*mapTiff(a.file), a.image).largest, 0.01);
}

TEST_F(AlikeInputsTest, AFileThatCannotBeReplacedLeavesNothingBehind) {
    const RunInput a = working("a.tif", grey8);
    fs::remove(a.file);
    const auto entries = [] {
        return std::distance(fs::directory_iterator(workingFolder()), fs::directory_iterator());
    };
    const RunInput b = working("b.tif", rgb8);
    const auto before = entries();
    EXPECT_EQ(makeAlike({a, b}), SampleType::uint8);
    EXPECT_LE(entries(), before + 1);
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
    // What cannot be turned is not left lying as if it were a result.
    const fs::path half = folder.write("half.tif", test::readFile(result).substr(0, 3000));
    turnInto(SampleType::uint8, half);
    EXPECT_FALSE(fs::exists(half));
    // The longest name that a file can have.
    const fs::path longName = folder / (std::string(251, 'n') + ".tif");
    ASSERT_TRUE(writeTiff(fused, longName, Write::plain));
    turnInto(SampleType::uint8, longName);
    EXPECT_EQ(decodeImage(longName).format().type, SampleType::uint8);
    // Nothing is there to be turned.
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
