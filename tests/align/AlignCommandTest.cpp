// SPDX-License-Identifier: GPL-3.0-or-later
#include "align/AlignCommand.h"

#include <gmock/gmock.h>

#include <QSettings>
#include <cmath>
#include <limits>

#include "align/AlignSettings.h"
#include "align/AlignmentRun.h"
#include "align/AutoAlignProgress.h"
#include "platform/Resources.h"
#include "platform/WorkingFolder.h"
#include "sources/SourceCellViewController.h"
#include "stack/SharedState.h"
#include "support/CommaLocale.h"
#include "support/EnvironmentVariable.h"
#include "support/WindowsFixture.h"

namespace lumaweave {

namespace fs = std::filesystem;
using testing::DoubleNear;
using testing::Optional;

namespace {

std::string line(const AlignSettings& settings) {
    return alignCommandText("/App/Enfuse/align_image_stack", "/tmp/alignedImage", settings);
}

struct Case {
    AlignSettings settings;
    std::string end;
};

// Grid size, points, fisheye, field of view.
const std::vector<Case> everyCombination = {
    {{5, 8, false, false}, " -c 8 -g 5"},
    {{5, 8, false, true}, " -m -c 8 -g 5"},
    {{5, 8, true, false}, " -e -c 8 -g 5"},
    {{5, 8, true, true}, " -e -m -c 8 -g 5"},
    {{5, 12345, false, false}, " -c 12345 -g 5"},
    {{5, 12345, false, true}, " -m -c 12345 -g 5"},
    {{5, 12345, true, false}, " -e -c 12345 -g 5"},
    {{5, 12345, true, true}, " -e -m -c 12345 -g 5"},
    {{-1000, 8, false, false}, " -c 8 -g -1000"},
    {{-1000, 8, false, true}, " -m -c 8 -g -1000"},
    {{-1000, 8, true, false}, " -e -c 8 -g -1000"},
    {{-1000, 8, true, true}, " -e -m -c 8 -g -1000"},
    {{-1000, 12345, false, false}, " -c 12345 -g -1000"},
    {{-1000, 12345, false, true}, " -m -c 12345 -g -1000"},
    {{-1000, 12345, true, false}, " -e -c 12345 -g -1000"},
    {{-1000, 12345, true, true}, " -e -m -c 12345 -g -1000"},
};

const std::string head = R"("/App/Enfuse/align_image_stack" -v  -a "/tmp/alignedImage")";

}  // namespace

TEST(AlignCommand, EveryCombinationOfTheFourSettings) {
    for (const Case& one : everyCombination)
        EXPECT_EQ(line(one.settings), head + one.end);
}

TEST(AlignCommand, WithBothBoxesOffThePointsFollowThePrefix) {
    EXPECT_EQ(line({}), R"("/App/Enfuse/align_image_stack" -v  -a "/tmp/alignedImage" -c 8 -g 5)");
}

TEST(AlignCommand, WithBothBoxesOnFisheyeComesFirstAndBothBeforeThePoints) {
    EXPECT_EQ(line({5, 8, true, true}),
              R"("/App/Enfuse/align_image_stack" -v  -a "/tmp/alignedImage" -e -m -c 8 -g 5)");
}

TEST(AlignCommand, TwoBlanksStandBetweenVerbosityAndPrefix) {
    EXPECT_THAT(line({}), testing::HasSubstr(R"(" -v  -a ")"));
}

TEST(AlignCommand, WhateverIntegersThereAreArePassedOn) {
    constexpr int least = std::numeric_limits<int>::min();
    constexpr int most = std::numeric_limits<int>::max();
    EXPECT_EQ(line({least, most, false, false}), head + " -c 2147483647 -g -2147483648");
    EXPECT_EQ(line({0, 0, false, false}), head + " -c 0 -g 0");
}

TEST(AlignCommand, ACommaLocaleChangesNothing) {
    const test::CommaLocale locale;
    for (const Case& one : everyCombination)
        EXPECT_EQ(line(one.settings), head + one.end);
}

TEST(AlignCommand, BlanksInPathsStayInsideTheQuotes) {
    EXPECT_EQ(alignCommandText("/my App/tool", "/my tmp/alignedImage", {}),
              R"("/my App/tool" -v  -a "/my tmp/alignedImage" -c 8 -g 5)");
}

TEST(AlignedFiles, AreNumberedByTheCellWithFourDigits) {
    EXPECT_EQ(alignedImagePrefix(), workingFolder() / "alignedImage");
    EXPECT_EQ(alignedImageFile(0), workingFolder() / "alignedImage0000.tif");
    EXPECT_EQ(alignedImageFile(3), workingFolder() / "alignedImage0003.tif");
    EXPECT_EQ(alignedImageFile(9), workingFolder() / "alignedImage0009.tif");
    EXPECT_EQ(alignedImageFile(10), workingFolder() / "alignedImage0010.tif");
    EXPECT_EQ(alignedImageFile(15), workingFolder() / "alignedImage0015.tif");
    EXPECT_THROW((void)alignedImageFile(16), std::out_of_range);
}

TEST(HorizontalFieldOfView, IsThatOfTheLensOnTheSmallFrame) {
    EXPECT_THAT(horizontalFieldOfView(24, {900, 600}, false), Optional(DoubleNear(73.74, 0.01)));
    EXPECT_THAT(horizontalFieldOfView(50, {6000, 4000}, false), Optional(DoubleNear(39.60, 0.01)));
}

TEST(HorizontalFieldOfView, OfAPortraitIsTheNarrowOne) {
    EXPECT_THAT(horizontalFieldOfView(24, {600, 900}, false), Optional(DoubleNear(53.13, 0.01)));
}

TEST(HorizontalFieldOfView, OfAnotherShapeComparesTheDiagonals) {
    // 4:3 with the small frame's diagonal is 34.61 mm wide.
    EXPECT_THAT(horizontalFieldOfView(24, {4000, 3000}, false), Optional(DoubleNear(71.60, 0.01)));
}

TEST(HorizontalFieldOfView, OfAFisheyeGrowsEvenly) {
    EXPECT_THAT(horizontalFieldOfView(15, {900, 600}, true),
                Optional(DoubleNear(36 / 15.0 * 180 / M_PI, 0.01)));
}

TEST(HorizontalFieldOfView, OfNoLensThereIsNone) {
    EXPECT_EQ(horizontalFieldOfView(0, {900, 600}, false), std::nullopt);
    EXPECT_EQ(horizontalFieldOfView(-24, {900, 600}, false), std::nullopt);
    EXPECT_EQ(horizontalFieldOfView(std::nan(""), {900, 600}, false), std::nullopt);
    EXPECT_EQ(horizontalFieldOfView(24, {}, false), std::nullopt);
    EXPECT_EQ(horizontalFieldOfView(0.1, {900, 600}, false), std::nullopt);
    EXPECT_EQ(horizontalFieldOfView(1, {900, 600}, true), std::nullopt);
    EXPECT_EQ(horizontalFieldOfView(1e6, {900, 600}, false), std::nullopt);
}

class AlignCommandProgramTest : public test::WindowsTest {
  protected:
    // The command line of a run for what the cells hold now; none when it cannot be made.
    static std::optional<std::string> wholeLine() {
        const auto tool = alignTool();
        if (!tool) return std::nullopt;
        std::string command = alignCommandText(*tool, alignedImagePrefix(), currentAlignSettings());
        if (!AlignmentRun().appendInputs(command)) return std::nullopt;
        return command;
    }
    static std::string quoted(const fs::path& path) { return '"' + path.native() + '"'; }
    static std::string start() {
        return quoted(resourceFolder() / "Enfuse/align_image_stack") + " -v  -a " +
               quoted(workingFolder() / "alignedImage") + " -c 8 -g 5";
    }
};

TEST_F(AlignCommandProgramTest, FilledCellsAreListedInCellOrderWithoutGaps) {
    cell(7).setUrlToImageFile("/pictures/c.tif");
    cell(0).setUrlToImageFile("/pictures/b c.tif");
    cell(15).setUrlToImageFile("/pictures/a.tif");
    EXPECT_EQ(wholeLine(), start() + R"( "/pictures/b c.tif" "/pictures/c.tif" "/pictures/a.tif")");
}

TEST_F(AlignCommandProgramTest, WithNothingLoadedThereIsNoInput) {
    EXPECT_EQ(wholeLine(), start());
}

TEST_F(AlignCommandProgramTest, ADisabledCellIsAlignedAsWell) {
    cell(0).setUrlToImageFile("/a.tif");
    cell(1).setUrlToImageFile("/b.tif");
    cell(1).setEnabled(false);
    EXPECT_EQ(wholeLine(), start() + R"( "/a.tif" "/b.tif")");
}

TEST_F(AlignCommandProgramTest, InputsAreUtf8) {
    cell(0).setUrlToImageFile("/Bäume/Straße.tif");
    EXPECT_EQ(wholeLine(), start() + R"( "/Bäume/Straße.tif")");
}

TEST_F(AlignCommandProgramTest, ALineOf1999BytesFitsAndNoneLonger) {
    cell(0).setUrlToImageFile("/a.tif");
    const std::size_t room = 1999 - (wholeLine()->size() + 3);
    cell(1).setUrlToImageFile("/" + std::string(room - 1, 'x'));
    ASSERT_TRUE(wholeLine().has_value());
    EXPECT_EQ(wholeLine()->size(), 1999U);
    cell(1).setUrlToImageFile("/" + std::string(room, 'x'));
    EXPECT_EQ(wholeLine(), std::nullopt);
}

TEST_F(AlignCommandProgramTest, APathThatTheShellWouldActOnIsRefused) {
    cell(0).setUrlToImageFile("/$(id).tif");
    EXPECT_EQ(wholeLine(), std::nullopt);
}

TEST_F(AlignCommandProgramTest, TheGlobalsAreTheSettings) {
    gAA_GridSize = 3;
    gAA_NumControlPoints = 21;
    gAA_AssumeFullFrameFisheye = true;
    gAA_OptimizeFOV = true;
    EXPECT_EQ(wholeLine(), quoted(resourceFolder() / "Enfuse/align_image_stack") + " -v  -a " +
                               quoted(workingFolder() / "alignedImage") + " -e -m -c 21 -g 3");
}

TEST_F(AlignCommandProgramTest, AToolThatIsNotInstalledCountsAsMissing) {
    EXPECT_TRUE(alignTool().has_value());
    const test::EnvironmentVariable path("PATH", folder.path().native());
    EXPECT_FALSE(alignTool().has_value());
}

}  // namespace lumaweave
