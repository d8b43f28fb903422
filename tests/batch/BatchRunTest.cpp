// SPDX-License-Identifier: GPL-3.0-or-later

// What a batch makes of a folder, from the menu item to the closing message.

#include <sys/stat.h>

#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QTest>

#include "batch/BatchFixture.h"
#include "batch/BatchState.h"
#include "imaging/decoding/ImageDecoder.h"
#include "stack/SharedState.h"
#include "support/ShownWindow.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class BatchRunTest : public BatchTest {
  protected:
    // The tool leaves its last input, and a copy of every input in a new folder "inputs...".
    void keepInputs() {
        replaceFusionTool(std::string(takeArguments) + "folder=$(mktemp -d '" +
                          (folder / "inputs").native() + "XXXXXX')\n" +
                          "n=0\nprintf %s \"$inputs\" | while read -r input; do\n" +
                          "cp \"$input\" \"$folder/$n.tif\"\nn=$((n + 1))\ndone\n" + copyLastInput);
    }
    // The folder that holds the inputs of the only run.
    [[nodiscard]] fs::path inputs() const {
        for (const auto& entry : fs::directory_iterator(folder.path())) {
            if (entry.path().filename().native().starts_with("inputs")) return entry.path();
        }
        return {};
    }
};

TEST_F(BatchRunTest, SixFilesThreePerSetGiveTwoResults) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg", "e.jpg", "f.jpg"});
    copyWithTool();
    batch(3);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - c.tif", "Enfused - f.tif"));
    EXPECT_EQ(gEnfuseSavePath, result("Enfused - f.tif"));
    EXPECT_EQ(log.count("Enfuse a Batch Set..."), 2);
    EXPECT_EQ(log.count("Batch Set Enfused."), 2);
    EXPECT_TRUE(gDoingBatch);
    expectAtRest();
}

TEST_F(BatchRunTest, SevenFilesThreePerSetEndWithTheMismatchThenComplete) {
    makeFiles({"1.jpg", "2.jpg", "3.jpg", "4.jpg", "5.jpg", "6.jpg", "7.jpg"});
    copyWithTool();
    batch(3);
    EXPECT_EQ(gNumBatchSets, 2);
    EXPECT_THAT(alerts.texts(), ElementsAre(mismatch, complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - 3.tif", "Enfused - 6.tif"));
    expectAtRest();
}

TEST_F(BatchRunTest, AFileThatCannotBeReadShiftsAllThatFollow) {
    makeFiles({"1.jpg", "3.jpg", "4.jpg", "5.jpg", "6.jpg"});
    folder.write("photos/2.txt", "no picture");
    keepInputs();
    batch(3);
    EXPECT_THAT(alerts.texts(), ElementsAre(mismatch, complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - 4.tif"));
    EXPECT_EQ(log.count("assignFileToCell: initWithContentsOfURL returned nil!"), 1);
    EXPECT_EQ(log.count("The file at path " + (photos() / "2.txt").native() +
                        " could not be assigned by Lumaweave!"),
              1);
    int n = 0;
    for (const char* name : {"1.jpg", "3.jpg", "4.jpg"}) {
        const Image input = decodeImage(inputs() / (std::to_string(n++) + ".tif"));
        EXPECT_EQ(differenceBetween(input, decodeImage(photos() / name)).largest, 0) << name;
    }
    EXPECT_FALSE(fs::exists(inputs() / "3.tif"));
}

TEST_F(BatchRunTest, AFileThatIsNeitherPictureNorFolderDoesNotHoldTheBatchUp) {
    makeFiles({"a.jpg", "c.jpg"});
    ASSERT_EQ(mkfifo((photos() / "b").c_str(), 0600), 0);
    folder.write("photos/empty.jpg", "");
    copyWithTool();
    batch(2);
    EXPECT_EQ(gNumFilesInBatchFolder, 4);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - c.tif"));
}

TEST_F(BatchRunTest, SeventeenShotsPerSetAreTooManyThenComplete) {
    std::vector<std::string> names;
    for (char c = 'a'; c < 'a' + 17; ++c)
        names.push_back(std::string(1, c) + ".jpg");
    makeFiles(names, 20, 16);
    copyWithTool();
    batch(17);
    EXPECT_THAT(alerts.texts(), ElementsAre(tooMany, complete));
    EXPECT_THAT(results(), IsEmpty());
    expectAtRest();
}

TEST_F(BatchRunTest, SixteenShotsPerSetFit) {
    std::vector<std::string> names;
    for (char c = 'a'; c < 'a' + 16; ++c)
        names.push_back(std::string(1, c) + ".jpg");
    makeFiles(names, 20, 16);
    copyWithTool();
    batch(16);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - p.tif"));
}

TEST_F(BatchRunTest, OneShotPerSetFusesNothingAndGoesOn) {
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    batch(1);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), IsEmpty());
    EXPECT_EQ(log.count("Batch Set Enfused."), 2);
}

TEST_F(BatchRunTest, AFolderWithFewerFilesThanASetEndsWithTheMismatchThenComplete) {
    makeFiles({"a.jpg", "b.jpg"});
    batch(3);
    EXPECT_EQ(gNumBatchSets, 0);
    EXPECT_THAT(alerts.texts(), ElementsAre(mismatch, complete));
    EXPECT_THAT(results(), IsEmpty());
    expectAtRest();
}

TEST_F(BatchRunTest, HiddenFilesAndFoldersAreLeftOut) {
    makeFiles({".hidden.jpg", "a.jpg", "b.jpg"});
    fs::create_directory(photos() / "folder.jpg");
    copyWithTool();
    batch(2);
    batch(2);  // the first batch's results are in a folder
    EXPECT_EQ(gNumFilesInBatchFolder, 2);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete, complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
}

TEST_F(BatchRunTest, TheListIsLoggedAsItIsAndSortedAndFileByFile) {
    makeFiles({"b 100%d.jpg", "A.jpg", ".c.jpg"});
    fs::create_directory(photos() / "d");
    copyWithTool();
    batch(2);
    const std::vector<std::string> lines = log.linesWith("ontents of Folder");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].starts_with("Contents of Folder = ("));
    for (const char* name : {"b 100%d.jpg", "A.jpg", ".c.jpg", "d"})
        EXPECT_THAT(lines[0], HasSubstr(name));
    EXPECT_EQ(lines[1], "Sorted Contents of Folder = (.c.jpg, A.jpg, b 100%d.jpg, d)");
    for (const char* name : {"b 100%d.jpg", "A.jpg"})
        EXPECT_EQ(log.count((photos() / name).native()), 1) << name;
    for (const char* name : {".c.jpg", "d"})
        EXPECT_EQ(log.count((photos() / name).native()), 0) << name;
}

TEST_F(BatchRunTest, NamesWithBlanksAccentsQuotesAndPercentSignsAreFused) {
    makeFiles({"a b.jpg", "it's 100%d é;&.jpg"});
    copyWithTool();
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - it's 100%d é;&.tif"));
}

TEST_F(BatchRunTest, ANilEntryIsLoggedAndPassedOver) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    makeToolWait("enfuse-openmp", copyLastInput);
    whenTrue([this] { return toolWaits(); },
             [this] {
                 gBatchList->at(2).clear();
                 letGo();
             });
    batch(2);
    EXPECT_EQ(log.count("gBatchList objectAtIndex:i returned nil!"), 1);
    EXPECT_THAT(alerts.texts(), ElementsAre(mismatch, complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
}

TEST_F(BatchRunTest, ASuccessfulRunOverwrites) {
    makeFiles({"a.jpg", "b.jpg"});
    fs::create_directory(photos() / "Enfused Files");
    folder.write("photos/Enfused Files/Enfused - b.tif", "old");
    copyWithTool();
    batch(2);
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    EXPECT_TRUE(isWhollyDecodable(result("Enfused - b.tif")));
}

TEST_F(BatchRunTest, TheBarHasTwoStepsASetAndThreeWithAlignment) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    copyWithTool();
    replaceTool("align_image_stack", std::string(takeAlignArguments) + copyEveryInput);
    for (const bool align : {false, true}) {
        int maximum = 0;
        int value = 0;
        QString text;
        alerts.answer = [&](QMessageBox* box) {
            for (const BatchProgressDialog* found : allWindows<BatchProgressDialog>()) {
                maximum = found->progressBar()->maximum();
                value = found->progressBar()->value();
            }
            box->button(QMessageBox::Ok)->click();
        };
        batch(2, align);
        EXPECT_EQ(maximum, align ? 6 : 4);
        EXPECT_EQ(value, maximum);
    }
    EXPECT_EQ(log.count("doing auto-align..."), 2);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete, complete));
}

TEST_F(BatchRunTest, APersonSeesTheSetTheFileAndTheTimeLeft) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg", "e.jpg", "f.jpg"});
    makeToolWait("enfuse-openmp", copyLastInput);
    std::vector<QString> seen;
    const auto look = [&] {
        for (const QLabel* field :
             {sheet()->setField(), sheet()->fileField(), sheet()->timeField()})
            seen.push_back(field->text());
        letGo();
    };
    const auto waitsInSet = [this](const char* set) {
        return toolWaits() && sheet() != nullptr && sheet()->setField()->text() == set;
    };
    whenTrue([&] { return waitsInSet("Set 1 of 3"); }, look);
    whenTrue([&] { return waitsInSet("Set 2 of 3"); }, look);
    whenTrue([&] { return waitsInSet("Set 3 of 3"); }, look);
    batch(2);
    EXPECT_THAT(seen,
                ElementsAre("Set 1 of 3", "Fusing Enfused - b.tif…",
                            "The time left is known after the first set.", "Set 2 of 3",
                            "Fusing Enfused - d.tif…", "Less than a minute left", "Set 3 of 3",
                            "Fusing Enfused - f.tif…", "Less than a minute left"));
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
}

TEST_F(BatchRunTest, TheProgressWindowIsGoneBeforeTheClosingMessage) {
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    bool asked = false;
    alerts.answer = [&](QMessageBox* box) {
        asked = true;
        EXPECT_EQ(sheet(), nullptr);
        box->button(QMessageBox::Ok)->click();
    };
    batch(2);
    EXPECT_TRUE(asked);
}

TEST_F(BatchRunTest, ABatchTakesTheShotsThatWereThereOut) {
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    dropAndWait(makeBracket(folder.path(), 60, 40));
    EXPECT_EQ(gNumSourceImages, 3);
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    expectAtRest();
}

TEST_F(BatchRunTest, FromTheFirstBatchOnAnUnreadableDropIsOnlyLogged) {
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    batch(2);
    alerts.forget();
    dropAndWait({folder.write("no picture.jpg", "text")});
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(log.count("assignFileToCell: initWithContentsOfURL returned nil!"), 1);
    EXPECT_TRUE(gDoingBatch);
}

}  // namespace lumaweave
