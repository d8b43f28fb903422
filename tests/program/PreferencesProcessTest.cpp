// SPDX-License-Identifier: GPL-3.0-or-later

// Settings over a restart: what one program saves, the next one has.

#include <gmock/gmock.h>

#include <QSettings>
#include <filesystem>
#include <fstream>

#include "align/AlignSettings.h"
#include "support/Pictures.h"
#include "support/Program.h"
#include "support/SettingsFile.h"
#include "support/TestFolder.h"
#include "support/Waiting.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::HasSubstr;
using testing::Not;

class PreferencesProcessTest : public testing::Test {
  protected:
    PreferencesProcessTest() { fs::create_directories(file.parent_path()); }

    // Whether the file has this line.
    [[nodiscard]] bool fileHas(const std::string& line) const {
        return ('\n' + readFile(file)).find('\n' + line + '\n') != std::string::npos;
    }
    // Starts the program, waits for its window, clicks a control as the user, waits until that is
    // saved, and closes the program.
    void startAndClick(const std::string& control, const std::string& savedLine) const {
        Program program({}, environmentWithPerson());
        ASSERT_TRUE(program.waitForOutput(windowPainted));
        program.tell("click " + control);
        EXPECT_TRUE(waitUntil([&] { return fileHas(savedLine); })) << savedLine;
        program.tell("close");
        EXPECT_TRUE(program.waitForEnd());
    }

    const TestFolder folder;
    const fs::path file = settingsFile();
};

TEST_F(PreferencesProcessTest, WhatOneStartSavesTheNextOneHas) {
    startAndClick("hardMaskButton", "hardMaskButton=1");
    startAndClick("CIECAM02Button", "CIECAM02Button=1");
    EXPECT_TRUE(fileHas("hardMaskButton=1")) << "the second start had read it";
    startAndClick("hardMaskButton", "hardMaskButton=0");
    EXPECT_TRUE(fileHas("CIECAM02Button=1"));
}

// The second program writes down every value that it has.
TEST_F(PreferencesProcessTest, ARestartKeepsEveryValueButThoseThatStartAfresh) {
    const std::string lines[] = {"gBestMessageNum=41",
                                 "gAA_GridSize=3",
                                 "gAA_NumControlPoints=11",
                                 "gAA_AssumeFullFrameFisheye=true",
                                 "exposureSigma=0.37",
                                 "exposureMu=0.010000001",
                                 "exposureWeightMenu=4",
                                 "saturationWeightMenu=5",
                                 "entropyWeightMenu=6",
                                 "contrastWeightMenu=7",
                                 "imageCacheSizeMenu=9",
                                 "blend180Button=1",
                                 "CIECAM02Button=1",
                                 "preserveEXIFCheckBox=0",
                                 "contrastMinCurvatureSlider=12.5",
                                 "entropyWindowSizeSlider=9",
                                 "blendingPyramidSlider=4",
                                 "ensureValidTIFFFilesCheckBox=0"};
    std::string content = "[General]\ngAA_OptimizeFOV=true\ncontrastWindowSizeMenu=8\n";
    for (const std::string& line : lines)
        content += line + "\n";
    std::ofstream(file) << content;
    startAndClick("hardMaskButton", "hardMaskButton=1");
    for (const std::string& line : lines)
        EXPECT_TRUE(fileHas(line)) << line;
    EXPECT_TRUE(fileHas("gAA_OptimizeFOV=false")) << "saved, never loaded";
    EXPECT_TRUE(fileHas("contrastWindowSizeMenu=0")) << "saved, never loaded";
}

TEST_F(PreferencesProcessTest, SavedFractionsReachTheFusionOfTheNextStart) {
    startAndClick("resetExposureButton", "exposureMu=0.5");
    QSettings().setValue("exposureMu", "0.73");
    Program next(makeBracket(folder.path(), 120, 80, 2));
    EXPECT_TRUE(next.waitForOutput(" --exposure-sigma=0.200000 --exposure-mu=0.730000"));
}

TEST_F(PreferencesProcessTest, AProgramWithoutAUsableSettingsFileRuns) {
    fs::create_directories(file / "full");
    {
        Program program(makeBracket(folder.path(), 120, 80, 2), environmentWithPerson());
        EXPECT_TRUE(program.waitForOutput("Creating Detail Images..."));
        program.tell("click hardMaskButton");
        EXPECT_TRUE(program.waitForOutput(" --hard-mask"));
        program.tell("close");
        EXPECT_TRUE(program.waitForEnd());
        EXPECT_THAT(program.output(), Not(HasSubstr("alert")));
    }
    fs::remove_all(file.parent_path());
    std::ofstream(file.parent_path()) << "in the way";
    Program program({}, environmentWithPerson());
    ASSERT_TRUE(program.waitForOutput(windowPainted));
    program.tell("click hardMaskButton");
    program.tell("close");
    EXPECT_TRUE(program.waitForEnd());
}

}  // namespace lumaweave
