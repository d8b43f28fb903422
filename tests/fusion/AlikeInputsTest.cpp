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
    static PixelFormat formatOf(const RunInput& input) { return mapTiff(input.file)->format(); }

    test::TestFolder folder;
};

constexpr PixelFormat grey8 = {1, false, SampleType::uint8};
constexpr PixelFormat greyAlpha16 = {1, true, SampleType::uint16};
constexpr PixelFormat rgb8 = {3, false, SampleType::uint8};
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
            ASSERT_TRUE(writeConverted(image, to, false, {}, file));
            const double half = to == SampleType::uint8 ? 0.5 / 255 : 0.5 / 65535;
            EXPECT_LE(differenceBetween(*mapTiff(file), image).largest, half * 1.01)
                << static_cast<int>(from) << static_cast<int>(to);
        }
    }
}

}  // namespace lumaweave
