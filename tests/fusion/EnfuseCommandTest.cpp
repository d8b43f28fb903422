// SPDX-License-Identifier: GPL-3.0-or-later
#include "fusion/EnfuseCommand.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "platform/Resources.h"
#include "settings/FusionSettings.h"
#include "support/AlertTexts.h"
#include "support/CommaLocale.h"
#include "support/EnvironmentVariable.h"
#include "support/WindowsFixture.h"

namespace lumaweave {

namespace {

std::string line(const FusionSettings& settings,
                 const std::filesystem::path& output = "/tmp/EnfusedPreview.tif") {
    return enfuseCommandText("/App/Enfuse/enfuse-openmp", output, settings);
}

const std::string head = R"("/App/Enfuse/enfuse-openmp")";
const std::string output = R"( -o "/tmp/EnfusedPreview.tif" --verbose=6 )";
const std::string tail = " --exposure-sigma=0.200000 --exposure-mu=0.500000 --depth=8";

}  // namespace

TEST(EnfuseCommand, FirstValuesGiveTheShortestLine) {
    FusionSettings settings;
    settings.outputDepthRow = 1;
    EXPECT_EQ(line(settings),
              R"("/App/Enfuse/enfuse-openmp" -o "/tmp/EnfusedPreview.tif" --verbose=6 )"
              " --exposure-sigma=0.200000 --exposure-mu=0.500000 --depth=16");
}

TEST(EnfuseCommand, DepthRows) {
    const std::vector<std::string> texts = {"8", "16", "r32"};
    for (int row = 0; row < 3; ++row) {
        FusionSettings settings;
        settings.outputDepthRow = row;
        EXPECT_EQ(line(settings), head + output +
                                      " --exposure-sigma=0.200000 --exposure-mu=0.500000 --depth=" +
                                      texts.at(static_cast<std::size_t>(row)));
    }
}

TEST(EnfuseCommand, PyramidLevelsAreWrittenBehindAMinusSign) {
    for (int levels = -2; levels <= 8; ++levels) {
        FusionSettings settings;
        settings.blendingPyramid = levels;
        const std::string piece = levels == 0 ? "" : " --levels=-" + std::to_string(levels);
        EXPECT_EQ(line(settings), head + piece + output + tail);
    }
}

TEST(EnfuseCommand, Ciecam02StandsTwice) {
    FusionSettings settings;
    settings.ciecam02 = true;
    EXPECT_EQ(line(settings), head + " -c" + output + " -c" + tail);
}

TEST(EnfuseCommand, WrapAroundHardMaskAndCiecam02KeepTheirOrder) {
    FusionSettings settings;
    settings.blend180 = true;
    EXPECT_EQ(line(settings), head + output + " -w" + tail);
    settings.hardMask = true;
    EXPECT_EQ(line(settings), head + output + " -w --hard-mask" + tail);
    settings.ciecam02 = true;
    EXPECT_EQ(line(settings), head + " -c" + output + " -w -c --hard-mask" + tail);
}

TEST(EnfuseCommand, ImageCacheSizeIsTheMenusIndex) {
    for (int index = 0; index <= 16; ++index) {
        FusionSettings settings;
        settings.imageCacheSize = index;
        const std::string piece = index == 0 ? "" : " -m " + std::to_string(index);
        EXPECT_EQ(line(settings), head + output + piece + tail);
    }
}

TEST(EnfuseCommand, EveryWeightIndexOfEveryMenu) {
    const std::vector<std::string> weights = {"",         "0.000000", "0.100000", "0.200000",
                                              "0.300000", "0.400000", "0.500000", "0.600000",
                                              "0.700000", "0.800000", "0.900000", "1.000000"};
    for (int index = -1; index < 12; ++index) {
        const std::string weight = index < 0 ? "" : weights.at(static_cast<std::size_t>(index));
        const auto piece = [&](const std::string& option) {
            return weight.empty() ? "" : " --" + option + "-weight=" + weight;
        };
        const bool above = index >= 2;
        FusionSettings settings;
        settings.exposureWeight = index;
        EXPECT_EQ(line(settings), head + output + piece("exposure") + tail);
        settings = {};
        settings.saturationWeight = index;
        EXPECT_EQ(line(settings), head + output + piece("saturation") + tail);
        settings = {};
        settings.contrastWeight = index;
        settings.contrastMinCurvature = 7;
        EXPECT_EQ(line(settings), head + output + piece("contrast") +
                                      (above ? " --contrast-min-curvature=7" : "") + tail);
        settings = {};
        settings.entropyWeight = index;
        settings.entropyWindowSize = 9;
        EXPECT_EQ(line(settings), head + output + piece("entropy") +
                                      (above ? " --entropy-window-size=9" : "") + tail);
    }
}

TEST(EnfuseCommand, WeightIndexOneWritesAnExplicitZero) {
    FusionSettings settings;
    settings.exposureWeight = 1;
    EXPECT_THAT(line(settings), testing::HasSubstr(" --exposure-weight=0.000000"));
}

TEST(EnfuseCommand, ContrastIndexOneHasNoMinimumCurvatureAndIndexTwoHas) {
    FusionSettings settings;
    settings.contrastWeight = 1;
    EXPECT_THAT(line(settings), testing::Not(testing::HasSubstr("curvature")));
    settings.contrastWeight = 2;
    EXPECT_THAT(line(settings), testing::HasSubstr(" --contrast-min-curvature=0"));
}

TEST(EnfuseCommand, ContrastWindowIsIndependentOfTheWeight) {
    for (int index = 0; index <= 15; ++index) {
        FusionSettings settings;
        settings.contrastWindowSize = index;
        const std::string piece =
            index == 0 ? "" : " --contrast-window-size=" + std::to_string(index);
        EXPECT_EQ(line(settings), head + output + piece + tail);
    }
}

TEST(EnfuseCommand, SigmaAndMuAreWrittenWithSixDecimals) {
    FusionSettings settings;
    settings.exposureSigma = 0.37F;
    settings.exposureMu = 1.0F;
    EXPECT_EQ(line(settings),
              head + output + " --exposure-sigma=0.370000 --exposure-mu=1.000000 --depth=8");
}

TEST(EnfuseCommand, EverythingAtOnceInTheFixedOrder) {
    FusionSettings settings;
    settings.blendingPyramid = 3;
    settings.ciecam02 = settings.blend180 = settings.hardMask = true;
    settings.imageCacheSize = 2;
    settings.exposureWeight = 11;
    settings.saturationWeight = 3;
    settings.contrastWeight = 6;
    settings.contrastMinCurvature = 4;
    settings.entropyWeight = 2;
    settings.entropyWindowSize = 5;
    settings.contrastWindowSize = 7;
    settings.outputDepthRow = 2;
    EXPECT_EQ(line(settings),
              R"("/App/Enfuse/enfuse-openmp" --levels=-3 -c -o "/tmp/EnfusedPreview.tif")"
              " --verbose=6  -w -c --hard-mask -m 2 --exposure-weight=1.000000"
              " --saturation-weight=0.200000 --contrast-weight=0.500000"
              " --contrast-min-curvature=4 --entropy-weight=0.100000 --entropy-window-size=5"
              " --contrast-window-size=7 --exposure-sigma=0.200000 --exposure-mu=0.500000"
              " --depth=r32");
}

TEST(EnfuseCommand, ABlankInTheOutputPathStaysInsideTheQuotes) {
    EXPECT_THAT(line({}, "/tmp/my result.tif"),
                testing::HasSubstr(R"( -o "/tmp/my result.tif" --verbose=6 )"));
}

TEST(EnfuseCommand, ACommaLocaleChangesNothing) {
    FusionSettings settings;
    settings.exposureWeight = 6;
    const std::string expected = line(settings);
    const test::CommaLocale locale;
    EXPECT_EQ(line(settings), expected);
    EXPECT_THAT(expected, testing::HasSubstr("0.500000"));
}

using EnfuseCommandProgramTest = test::WindowsTest;

TEST_F(EnfuseCommandProgramTest, ReadsThePanelAndTheResources) {
    const auto command = CreateEnfuseCommandString("/tmp/out file.tif");
    ASSERT_TRUE(command.has_value());
    EXPECT_EQ(*command, "\"" + (resourceFolder() / "Enfuse/enfuse-openmp").native() +
                            "\" -o \"/tmp/out file.tif\" --verbose=6  --exposure-sigma=0.200000"
                            " --exposure-mu=0.500000 --depth=16");
    EXPECT_TRUE(alerts.texts().empty());
}

TEST_F(EnfuseCommandProgramTest, AMissingToolIsToldAndGivesNoCommand) {
    setResourceFolder(folder.path());
    EXPECT_FALSE(CreateEnfuseCommandString("/tmp/out.tif").has_value());
    EXPECT_THAT(alerts.texts(), testing::ElementsAre(test::toolNotFound));
}

TEST_F(EnfuseCommandProgramTest, AToolThatIsNotInstalledIsToldAsMissing) {
    const test::EnvironmentVariable path("PATH", folder.path().native());
    EXPECT_FALSE(CreateEnfuseCommandString("/tmp/out.tif").has_value());
    EXPECT_EQ(alerts.count(test::toolNotFound), 1);
}

TEST_F(EnfuseCommandProgramTest, AnOutputPathThatCannotBeQuotedIsRefusedBeforeItIsQuoted) {
    EXPECT_FALSE(CreateEnfuseCommandString("/tmp/" + std::string(3000, 'x')).has_value());
    EXPECT_FALSE(CreateEnfuseCommandString("/tmp/$(id).tif").has_value());
    EXPECT_EQ(alerts.texts().size(), 2U);
}

}  // namespace lumaweave
