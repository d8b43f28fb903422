#include <QAction>
#include <QCheckBox>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QStatusBar>
#include <QTest>
#include <fstream>

#include "align/AutoAlignProgress.h"
#include "app/SharedState.h"
#include "batch/BatchActivity.h"
#include "batch/BatchFixture.h"
#include "fusion/EnfuseSettingsWindow.h"
#include "imaging/ImageDecoder.h"
#include "platform/WorkingFolder.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

class BatchRunTest : public BatchTest {
  protected:
    // In kilobytes.
    static double privateMemory() {
        std::ifstream status("/proc/self/status");
        const std::string name = "RssAnon:";
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with(name)) return std::stod(line.substr(name.size()));
        }
        return 0;
    }
    static std::ptrdiff_t workingFiles() {
        return std::distance(fs::directory_iterator(workingFolder()), fs::directory_iterator());
    }

    BatchRunTest() { windows->settingsPanel()->preserveEXIFCheckBox()->setChecked(false); }
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
    copyWithTool();
    batch(3);
    EXPECT_THAT(alerts.texts(), ElementsAre(mismatch, complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - 4.tif"));
    EXPECT_EQ(log.count("assignFileToCell: initWithContentsOfURL returned nil!"), 1);
    EXPECT_EQ(log.count("The file at path " + (photos() / "2.txt").native() +
                        " could not be assigned by Lumaweave!"),
              1);
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

TEST_F(BatchRunTest, HiddenFilesAndFoldersAreLeftOut) {
    makeFiles({".hidden.jpg", "a.jpg", "b.jpg"});
    fs::create_directory(photos() / "folder.jpg");
    copyWithTool();
    batch(2);
    batch(2);  // its results of the first time are in a folder
    EXPECT_EQ(gNumFilesInBatchFolder, 2);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete, complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
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

TEST_F(BatchRunTest, FewerThanTwoFilesStartNothingAndSayNothing) {
    makeFiles({"a.jpg", ".b.jpg"});
    batch(3);
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_FALSE(fs::exists(photos() / "Enfused Files"));
    EXPECT_EQ(gBatchFolderPath, photos());
    EXPECT_EQ(gNumImagesInBatchSet, 3);
    EXPECT_FALSE(gDoingBatch);
}

TEST_F(BatchRunTest, AnEmptyOrMissingFolderStartsNothing) {
    batch(3);
    chosen = {folder / "nowhere"};
    batch(3);
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(gNumBatchSets, 0);
}

TEST_F(BatchRunTest, NoFolderOrSeveralFoldersStartNothing) {
    makeFiles({"a.jpg", "b.jpg"});
    chosen = {};
    batch(2);
    chosen = {photos(), folder.path()};
    batch(2);
    EXPECT_EQ(timesAsked, 2);
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_FALSE(fs::exists(photos() / "Enfused Files"));
}

TEST_F(BatchRunTest, CancellingTheSettingsStoresNothing) {
    const int before = gNumImagesInBatchSet;
    whenTrue([] { return settingsDialog() != nullptr; },
             [] {
                 settingsDialog()->bracketCount()->setValue(9);
                 QTest::mouseClick(button(settingsDialog(), "cancelButton"), Qt::LeftButton);
             });
    windows->findChild<QAction*>("batchAction")->trigger();
    EXPECT_EQ(gNumImagesInBatchSet, before);
    EXPECT_EQ(timesAsked, 0);
}

TEST_F(BatchRunTest, TheSettingsTakeNoNumberBelowOne) {
    BatchSettingsDialog dialog;
    dialog.bracketCount()->setValue(0);
    EXPECT_EQ(dialog.bracketCount()->value(), 1);
    EXPECT_GE(dialog.bracketCount()->maximum(), 17);
}

TEST_F(BatchRunTest, ANameThatTheShellWouldActOnIsRefusedBeforeAnythingIsMade) {
    makeFiles({"a.jpg", "b$(touch x).jpg"});
    batch(2);
    ASSERT_EQ(alerts.texts().size(), 1U);
    EXPECT_THAT(alerts.texts().front(), testing::HasSubstr("b$(touch x).jpg"));
    EXPECT_FALSE(fs::exists(photos() / "Enfused Files"));
    EXPECT_FALSE(gDoingBatch);
    expectAtRest();
}

TEST_F(BatchRunTest, AFailedSetIsLoggedAndTheBatchGoesOn) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    replaceFusionTool(std::string(takeArguments) + "case $out in *b.tif) exit 1 ;; esac\n" +
                      copyLastInput);
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - d.tif"));
    EXPECT_TRUE(hasLog("The set up to b.jpg could not be fused"));
}

TEST_F(BatchRunTest, HalfAFileDoesNotStayAsIfItWereAResult) {
    makeFiles({"a.jpg", "b.jpg"});
    replaceFusionTool(std::string(takeArguments) + leaveHalfAFile);
    batch(2);
    EXPECT_THAT(results(), IsEmpty());
    EXPECT_TRUE(hasLog("The set up to b.jpg could not be fused"));
}

TEST_F(BatchRunTest, AFileWithAGoodHeaderAndHalfItsPixelsIsAFailureToo) {
    makeFiles({"a.jpg", "b.jpg"}, 300, 200);
    const fs::path whole = folder / "whole.tif";
    saveImage(makeImage(300, 200, {}, sceneAt(1)), whole);
    replaceFusionTool(std::string(takeArguments) + "cp '" + whole.native() +
                      "' \"$out\"\ntruncate -s 90000 \"$out\"\n");
    batch(2);
    EXPECT_THAT(results(), IsEmpty());
}

TEST_F(BatchRunTest, AnEarlierGoodResultOutlivesAFailure) {
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    batch(2);
    const std::string good = readFile(result("Enfused - b.tif"));
    for (const char* failure : {leaveHalfAFile, fail}) {
        replaceFusionTool(std::string(takeArguments) + failure);
        batch(2);
        EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
        EXPECT_EQ(readFile(result("Enfused - b.tif")), good);
    }
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

TEST_F(BatchRunTest, WhatAKilledRunPutAsideComesBack) {
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    batch(2);
    const std::string good = readFile(result("Enfused - b.tif"));
    const fs::path aside = photos() / "Enfused Files" / ".Earlier results";
    fs::create_directory(aside);
    fs::rename(result("Enfused - b.tif"), aside / "Enfused - b.tif");
    folder.write("photos/Enfused Files/Enfused - b.tif", "half");
    replaceFusionTool(fail);
    batch(2);
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    EXPECT_EQ(readFile(result("Enfused - b.tif")), good);
}

TEST_F(BatchRunTest, AResultFolderThatCannotBeMadeFailsEverySet) {
    makeFiles({"a.jpg", "b.jpg"});
    folder.write("photos/Enfused Files", "a file of that name");
    copyWithTool();
    batch(3);  // it is one of the files: three
    EXPECT_EQ(alerts.texts().back(), complete);
    EXPECT_EQ(readFile(photos() / "Enfused Files"), "a file of that name");
    batch(2);
    EXPECT_TRUE(hasLog("The set up to b.jpg could not be fused"));
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
            for (QWidget* window : QApplication::topLevelWidgets()) {
                if (auto* found = qobject_cast<BatchProgressDialog*>(window)) {
                    maximum = found->progressBar()->maximum();
                    value = found->progressBar()->value();
                }
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

TEST_F(BatchRunTest, ACancelWhileASetIsFusedLetsItEnd) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    makeToolWait("enfuse-openmp", copyLastInput);
    bool returned = false;
    whenTrue([this] { return toolWaits() && sheet() != nullptr; },
             [this] {
                 EXPECT_EQ(sheet()->setField()->text(), "Set 1 of 2");
                 EXPECT_EQ(sheet()->fileField()->text(), "Fusing Enfused - b.tif…");
                 QTest::mouseClick(button(sheet(), "cancelButton"), Qt::LeftButton);
             });
    whenTrue([] { return BatchActivity::instance().phase() == BatchActivity::Phase::finishing; },
             [this, &returned] {
                 returned = true;
                 EXPECT_EQ(sheet(), nullptr);
                 EXPECT_THAT(windows->statusBar()->currentMessage().toStdString(),
                             testing::HasSubstr("current set is still being finished"));
                 EXPECT_FALSE(windows->findChild<QAction*>("batchAction")->isEnabled());
                 EXPECT_FALSE(windows->sourcesWindow()->isEnabled());
                 EXPECT_FALSE(windows->sourcesWindow()->alignAction()->isEnabled());
                 EXPECT_THAT(alerts.texts(), IsEmpty());
                 letGo();
             });
    batch(2);
    EXPECT_TRUE(returned);
    EXPECT_THAT(alerts.texts(), ElementsAre(canceled));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    EXPECT_EQ(windows->statusBar()->currentMessage(), "");
    expectAtRest();
}

TEST_F(BatchRunTest, ACancelWhileASetIsAlignedLetsItBeFused) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    copyWithTool();
    makeToolWait("align_image_stack", copyEveryInput);
    whenTrue([this] { return toolWaits() && sheet() != nullptr; },
             [] { QTest::mouseClick(button(sheet(), "cancelButton"), Qt::LeftButton); });
    whenTrue([] { return BatchActivity::instance().phase() == BatchActivity::Phase::finishing; },
             [this] { letGo(); });
    batch(2, true);
    EXPECT_THAT(alerts.texts(), ElementsAre(canceled));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    expectAtRest();
}

TEST_F(BatchRunTest, ASetIsNotFusedBeforeACancelledAlignmentHasEnded) {
    makeFiles({"a.jpg", "b.jpg"});
    replaceFusionTool(std::string(takeArguments) + "printf %s \"$inputs\" > '" +
                      (folder / "inputs").native() + "'\n" + copyLastInput);
    makeToolWait("align_image_stack", copyEveryInput);
    whenTrue([this] { return toolWaits(); },
             [this] {
                 for (QWidget* window : QApplication::topLevelWidgets()) {
                     auto* align = qobject_cast<AutoAlignProgressDialog*>(window);
                     if (align == nullptr || !align->isVisible()) continue;
                     QTest::mouseClick(button(align, "cancelButton"), Qt::LeftButton);
                 }
                 QTest::qWait(50);
                 EXPECT_FALSE(fs::exists(result("Enfused - b.tif")));
                 letGo();
             });
    batch(2, true);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    expectAtRest();
}

TEST_F(BatchRunTest, ACancelWhileFilesAreLoadedEndsBeforeTheFusion) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg"}, 3000, 2000);
    copyWithTool();
    whenTrue([] { return sheet() != nullptr; }, [] { QTest::keyClick(sheet(), Qt::Key_Escape); });
    batch(3);
    EXPECT_THAT(alerts.texts(), ElementsAre(canceled));
    EXPECT_THAT(results(), IsEmpty());
    expectAtRest();
}

TEST_F(BatchRunTest, ADiskThatFillsUpCostsNoEarlierResult) {
    makeFiles({"a.jpg", "b.jpg"}, 300, 200);
    batch(2);
    const std::string good = readFile(result("Enfused - b.tif"));
    ASSERT_GT(good.size(), 20000U);
    replaceFusionTool("ulimit -f 20\nexec '" LUMAWEAVE_RESOURCES "/Enfuse/enfuse-openmp' \"$@\"\n");
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete, complete));
    EXPECT_TRUE(hasLog("The set up to b.jpg could not be fused"));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    EXPECT_EQ(readFile(result("Enfused - b.tif")), good);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(BatchRunTest, ALongBatchTakesNoMoreMemoryAndDiskThanAShortOne) {
    std::vector<std::string> names;
    for (int i = 100; i < 180; ++i)
        names.push_back(std::to_string(i) + ".jpg");
    makeFiles(names, 300, 200);
    copyWithTool();
    double early = 0;
    double late = 0;
    std::ptrdiff_t earlyFiles = 0;
    std::ptrdiff_t lateFiles = 0;
    whenTrue([] { return sheet() != nullptr; },
             [&] {
                 QObject::connect(sheet()->progressBar(), &QProgressBar::valueChanged, [&](int v) {
                     if (v == 4) early = privateMemory(), earlyFiles = workingFiles();
                     if (v == 80) late = privateMemory(), lateFiles = workingFiles();
                 });
             });
    batch(2);
    ASSERT_GT(early, 0);
    EXPECT_LT(late, early * 1.05) << early << " kB after the second set, " << late << " at the end";
    EXPECT_EQ(lateFiles, earlyFiles);
    EXPECT_EQ(results().size(), 40U);
}
#endif

TEST_F(BatchRunTest, NineShotsGiveThreeCorrectResultsWithTheInstalledTools) {
    makeFiles({"1.jpg", "2.jpg", "3.jpg", "4.jpg", "5.jpg", "6.jpg", "7.jpg", "8.jpg", "9.jpg"},
              300, 200);
    for (const bool align : {false, true}) {
        batch(3, align);
        EXPECT_EQ(alerts.texts().back(), complete);
        EXPECT_THAT(results(),
                    ElementsAre("Enfused - 3.tif", "Enfused - 6.tif", "Enfused - 9.tif"));
        for (const char* name : {"Enfused - 3.tif", "Enfused - 6.tif", "Enfused - 9.tif"}) {
            const Image image = decodeImage(result(name));
            EXPECT_EQ(image.size(), QSizeF(300, 200)) << name;
        }
    }
    expectAtRest();
}

}  // namespace lumaweave
