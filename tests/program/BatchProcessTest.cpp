// SPDX-License-Identifier: GPL-3.0-or-later

// A batch in the program as the user starts it, with the real folder panel and the installed tools,
// and what is left when the program ends meanwhile.

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "imaging/decoding/ImageDecoder.h"
#include "support/FusionByHand.h"
#include "support/Pictures.h"
#include "support/Program.h"
#include "support/SettingsFile.h"
#include "support/TestFolder.h"
#include "support/Waiting.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;

class BatchProcess : public testing::Test {
  protected:
    BatchProcess() {
        fs::create_directory(photos());
        // The panel opens where it was last.
        fs::create_directories(settingsFile().parent_path());
        std::ofstream(settingsFile()) << "[arrangement]\nbatchFolder=" << photos().native() << "\n";
    }

    [[nodiscard]] fs::path photos() const { return folder / "photos"; }
    [[nodiscard]] fs::path result(const std::string& name) const {
        return photos() / "Enfused Files" / name;
    }
    [[nodiscard]] std::vector<std::string> results() const {
        return namesIn(photos() / "Enfused Files");
    }
    void makeShots(int count) const {
        for (int i = 1; i <= count; ++i) {
            const fs::path shot = photos() / (std::to_string(i) + ".jpg");
            saveImage(makeImage(120, 80, {}, sceneAt(0.3 * (1 + i % 3), (i - 1) / 3)), shot);
        }
    }
    // What the tool makes of the three shots up to this one, with its own defaults.
    [[nodiscard]] Image setByHand(int last) const {
        std::vector<fs::path> files;
        for (int i = last - 2; i <= last; ++i)
            files.push_back(photos() / (std::to_string(i) + ".jpg"));
        return fusedByHand(files, folder / "by hand.tif");
    }
    // A tool that would run for minutes in the place of the installed one.
    [[nodiscard]] QProcessEnvironment environmentWithEndlessTool() const {
        writeScript(folder / "enfuse", "echo tool started\nexec sleep 1000\n");
        QProcessEnvironment environment = environmentWithPerson();
        putOnPath(environment, folder.path());
        return environment;
    }
    // The settings as they are: three shots a set, no alignment.
    static void startBatch(Program& program) {
        ASSERT_TRUE(program.waitForOutput(windowPainted));
        program.tell("choose batchAction");
        program.tell("press Choose Folder…");
        program.tell("press Choose");
    }

    TestFolder folder;
};

TEST_F(BatchProcess, NineShotsBecomeThreeResults) {
    makeShots(9);
    Program program({}, environmentWithPerson());
    startBatch(program);
    ASSERT_TRUE(program.waitForOutput("person: alert \"Batch Complete!\""));
    program.tell("press OK");
    program.tell("close");
    EXPECT_TRUE(program.waitForEnd());
    EXPECT_THAT(results(), ElementsAre("Enfused - 3.tif", "Enfused - 6.tif", "Enfused - 9.tif"));
    for (int last = 3; last <= 9; last += 3) {
        const Image fused = decodeImage(result("Enfused - " + std::to_string(last) + ".tif"));
        for (int set = 3; set <= 9; set += 3) {
            const double difference = differenceBetween(fused, setByHand(set)).mean * 255;
            if (set == last) {
                EXPECT_LE(difference, 1) << last;
            } else {
                EXPECT_GT(difference, 3) << "the sets differ";
            }
        }
    }
}

TEST_F(BatchProcess, BeingAskedToEndBringsTheEarlierResultBack) {
    makeShots(3);
    fs::create_directory(photos() / "Enfused Files");
    folder.write("photos/Enfused Files/Enfused - 3.tif", "earlier");
    Program program({}, environmentWithEndlessTool());
    startBatch(program);
    ASSERT_TRUE(program.waitForOutput("tool started"));
    EXPECT_FALSE(fs::exists(result("Enfused - 3.tif")));
    program.process().terminate();
    EXPECT_TRUE(program.waitForEnd());
    EXPECT_THAT(results(), ElementsAre("Enfused - 3.tif"));
    EXPECT_EQ(readFile(result("Enfused - 3.tif")), "earlier");
}

TEST_F(BatchProcess, TheWindowCanBeClosedWhileACancelledSetIsFinished) {
    makeShots(3);
    Program program({}, environmentWithEndlessTool());
    startBatch(program);
    ASSERT_TRUE(program.waitForOutput("tool started"));
    program.tell("press Cancel");
    program.tell("close");
    EXPECT_TRUE(program.waitForEnd());
    EXPECT_TRUE(program.waitForOutput("Batch Canceled!"));
    EXPECT_TRUE(results().empty());
}

TEST_F(BatchProcess, AKilledProgramsEarlierResultComesBackWithTheNextBatch) {
    makeShots(3);
    fs::create_directory(photos() / "Enfused Files");
    saveImage(makeImage(40, 30, {}, sceneAt(1)), result("Enfused - 3.tif"));
    const std::string earlier = readFile(result("Enfused - 3.tif"));
    {
        Program killed({}, environmentWithEndlessTool());
        startBatch(killed);
        ASSERT_TRUE(killed.waitForOutput("tool started"));
    }
    EXPECT_FALSE(fs::exists(result("Enfused - 3.tif")));
    Program program({}, environmentWithEndlessTool());
    startBatch(program);
    ASSERT_TRUE(program.waitForOutput("tool started"));
    program.process().terminate();
    EXPECT_TRUE(program.waitForEnd());
    EXPECT_THAT(results(), ElementsAre("Enfused - 3.tif"));
    EXPECT_EQ(readFile(result("Enfused - 3.tif")), earlier);
}

}  // namespace lumaweave
