// SPDX-License-Identifier: GPL-3.0-or-later

// A cancel in each stage of a batch, and what the user can do until its worker ends.

#include <QAction>
#include <QApplication>
#include <QDragEnterEvent>
#include <QLabel>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTest>

#include "align/AutoAlignProgress.h"
#include "batch/BatchFixture.h"
#include "platform/FileUrls.h"
#include "preview/PreviewWindow.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "stack/BatchActivity.h"
#include "stack/SharedState.h"
#include "support/FormatFixtures.h"
#include "support/ReaderReplacement.h"
#include "support/ShownWindow.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class BatchCancelTest : public BatchTest {
  protected:
    using AtShowingSheet = AtShowing<BatchProgressDialog>;

    static AutoAlignProgressDialog* alignSheet() { return shown<AutoAlignProgressDialog>(); }
    static void clickCancel(const QWidget* window) {
        clickThroughWindow(*button(window, "cancelButton"));
    }
    static bool isFinishing() {
        return BatchActivity::instance().phase() == BatchActivity::Phase::finishing;
    }
    void expectNoDropIsTaken() const {
        QMimeData data;
        data.setUrls({urlFromPath(photos() / "a.jpg")});
        QDragEnterEvent enter({10, 10}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        enter.ignore();
        QApplication::sendEvent(windows->sourcesWindow(), &enter);
        EXPECT_FALSE(enter.isAccepted());
    }
    // Cancels as soon as the bar has this value: the worker then waits for the main thread.
    static AtShowingSheet cancelAtStep(int step) {
        return AtShowingSheet([step](BatchProgressDialog& dialog) {
            QObject::connect(dialog.progressBar(), &QProgressBar::valueChanged, &dialog,
                             [&dialog, step](int value) {
                                 if (value == step) button(&dialog, "cancelButton")->click();
                             });
        });
    }
};

TEST_F(BatchCancelTest, ACancelBeforeTheFirstFileLoadsNothing) {
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    const AtShowingSheet filter(
        [](BatchProgressDialog& dialog) { button(&dialog, "cancelButton")->click(); });
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(canceled));
    EXPECT_EQ(log.count("Assign file to cell..."), 0);
    EXPECT_THAT(results(), IsEmpty());
    expectAtRest();
}

TEST_F(BatchCancelTest, EscAndTheCloseButtonCancelToo) {
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    for (const bool close : {false, true}) {
        const AtShowingSheet filter([close](BatchProgressDialog& dialog) {
            if (close) {
                dialog.close();
            } else {
                QTest::keyClick(&dialog, Qt::Key_Escape);
            }
        });
        batch(2);
    }
    EXPECT_THAT(alerts.texts(), ElementsAre(canceled, canceled));
    EXPECT_THAT(results(), IsEmpty());
}

TEST_F(BatchCancelTest, ACancelAfterTheFilesAreLoadedEndsBeforeTheFusion) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg"});
    copyWithTool();
    const auto filter = cancelAtStep(1);
    batch(3, true);
    EXPECT_THAT(alerts.texts(), ElementsAre(canceled));
    EXPECT_EQ(log.count("Assign file to cell..."), 3);
    EXPECT_EQ(log.count("doing auto-align..."), 0);
    EXPECT_EQ(log.count("Enfuse a Batch Set..."), 0);
    EXPECT_THAT(results(), IsEmpty());
    expectAtRest();
}

TEST_F(BatchCancelTest, ACancelBetweenTwoSetsLoadsNoMore) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    copyWithTool();
    const auto filter = cancelAtStep(2);
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(canceled));
    EXPECT_EQ(log.count("Assign file to cell..."), 2);
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    expectAtRest();
}

// The second file goes to the reader, which waits.
TEST_F(BatchCancelTest, ACancelBetweenTwoFilesOfASetLoadsNoMore) {
    makeFiles({"a.jpg", "c.jpg", "d.jpg"});
    writeHeif(makeImage(60, 40, {}, sceneAt(1)), photos() / "b.heic", {});
    copyWithTool();
    const ReaderReplacement reader("touch '" + (folder / "started").native() + "'\nwhile [ ! -e '" +
                                   (folder / "go on").native() +
                                   "' ]; do sleep 0.01; done\nexit 10");
    bool seen = false;
    whenTrue(
        [this] {
            return toolWaits() && gNumSourceImages == 1 && sheet() != nullptr &&
                   sheet()->fileField()->text() == "Loading b.heic…";
        },
        [&] {
            seen = true;
            EXPECT_EQ(sheet()->setField()->text(), "Set 1 of 1");
            clickCancel(sheet());
        });
    whenTrue([] { return isFinishing(); }, [this] { letGo(); });
    batch(3);
    EXPECT_TRUE(seen);
    EXPECT_THAT(alerts.texts(), ElementsAre(canceled));
    // The third replaces the second, which the reader refused; no fourth follows.
    EXPECT_EQ(log.count("Assign file to cell..."), 3);
    EXPECT_THAT(results(), IsEmpty());
    expectAtRest();
}

TEST_F(BatchCancelTest, ABatchAfterACancelledOneRunsToItsEnd) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    copyWithTool();
    {
        const auto filter = cancelAtStep(2);
        batch(2);
    }
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(canceled, complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif", "Enfused - d.tif"));
    expectAtRest();
}

TEST_F(BatchCancelTest, ACancelAfterTheLastSetStillCounts) {
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    const auto filter = cancelAtStep(2);
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(canceled));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
}

TEST_F(BatchCancelTest, ACancelWhileASetIsFusedLetsItEnd) {
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
                 EXPECT_FALSE(windows->sourcesWindow()->isEnabled());
                 EXPECT_FALSE(windows->sourcesWindow()->alignAction()->isEnabled());
                 EXPECT_THAT(alerts.texts(), IsEmpty());
                 letGo();
             });
    batch(2);
    EXPECT_TRUE(returned);
    EXPECT_THAT(alerts.texts(), ElementsAre(canceled));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    expectAtRest();
}

TEST_F(BatchCancelTest, NothingElseGetsAtTheShotsUntilTheWorkerHasEnded) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    makeToolWait("enfuse-openmp", copyLastInput);
    const std::vector<fs::path> others = makeBracket(folder.path(), 60, 40);
    bool looked = false;
    whenTrue([this] { return toolWaits() && sheet() != nullptr; }, [] { clickCancel(sheet()); });
    whenTrue([] { return isFinishing(); },
             [&] {
                 looked = true;
                 EXPECT_EQ(gNumSourceImages, 2);
                 EXPECT_FALSE(windows->previewWindow()->fuseAction()->isEnabled());
                 EXPECT_FALSE(windows->previewWindow()->fuseButton()->isEnabled());
                 expectNoDropIsTaken();
                 windows->sourcesWindow()->addFiles(others);
                 windows->previewWindow()->enfuseItAction(nullptr);
                 fuseFolder();
                 EXPECT_EQ(settingsDialog(), nullptr);
             });
    whenTrue([&looked] { return looked; },
             [this] {
                 QApplication::processEvents();
                 EXPECT_EQ(gNumSourceImages, 2);
                 letGo();
             });
    batch(2);
    EXPECT_TRUE(looked);
    EXPECT_FALSE(hasLog("concludeDragOperation"));
    EXPECT_THAT(alerts.texts(), ElementsAre(canceled));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    expectAtRest();
    dropAndWait(others);
    EXPECT_EQ(gNumSourceImages, 3) << "welcome again";
}

// The event loop takes its paths after the drop itself.
TEST_F(BatchCancelTest, ADropThatWasMadeJustBeforeABatchBeganIsRefused) {
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    const std::vector<fs::path> others = makeBracket(folder.path(), 60, 40);
    setBatchFolderChooser([&] {
        sendDrop(windows->sourcesWindow(), {urlFromPath(others.front())});
        return std::vector<fs::path>{photos()};
    });
    batch(2);
    EXPECT_FALSE(hasLog("concludeDragOperation"));
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    expectAtRest();
}

TEST_F(BatchCancelTest, TheCancelIsReachableWhileASetIsAligned) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    copyWithTool();
    makeToolWait("align_image_stack", copyEveryInput);
    whenTrue([this] { return toolWaits() && sheet() != nullptr && alignSheet() != nullptr; },
             [] {
                 const QWidget* cancel = button(sheet(), "cancelButton");
                 const QRect on(cancel->mapToGlobal(QPoint(0, 0)), cancel->size());
                 EXPECT_FALSE(alignSheet()->frameGeometry().intersects(on)) << "it is covered";
                 clickCancel(sheet());
             });
    whenTrue([] { return isFinishing(); },
             [this] {
                 EXPECT_EQ(sheet(), nullptr);
                 EXPECT_EQ(alignSheet(), nullptr);
                 EXPECT_FALSE(windows->sourcesWindow()->alignAction()->isEnabled());
                 letGo();
             });
    batch(2, true);
    EXPECT_THAT(alerts.texts(), ElementsAre(canceled));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    expectAtRest();
}

TEST_F(BatchCancelTest, ASetIsNotFusedBeforeACancelledAlignmentHasEnded) {
    makeFiles({"a.jpg", "b.jpg"});
    const fs::path inputs = folder / "inputs";
    replaceFusionTool(std::string(takeArguments) +
                      "case $out in *Enfused\\ -*) printf %s \"$inputs\" > '" + inputs.native() +
                      "' ;; esac\n" + copyLastInput);
    makeToolWait("align_image_stack", copyEveryInput);
    whenTrue([this] { return toolWaits() && alignSheet() != nullptr; },
             [] { clickCancel(alignSheet()); });
    whenTrue([this] { return toolWaits() && sheet() != nullptr && alignSheet() == nullptr; },
             [this] {
                 EXPECT_EQ(log.count("Enfuse a Batch Set..."), 0);
                 letGo();
             });
    batch(2, true);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    const std::string fused = readFile(inputs);
    EXPECT_THAT(fused, HasSubstr("alignedImage"));
    EXPECT_THAT(fused, testing::Not(HasSubstr("ConvertedToTIFF")));
    expectAtRest();
}

// The batch fuses what the cells hold, and reads the metadata from there afterwards.
TEST_F(BatchCancelTest, TheShotsStayUntilTheirSetIsFinished) {
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    makeToolWait("align_image_stack", copyEveryInput);
    whenTrue([this] { return toolWaits() && sheet() != nullptr; }, [] { clickCancel(sheet()); });
    whenTrue([] { return isFinishing(); },
             [this] {
                 EXPECT_EQ(gNumSourceImages, 2);
                 letGo();
             });
    batch(2, true);
    EXPECT_EQ(gNumSourceImages, 0);
}

TEST_F(BatchCancelTest, ABatchWaitsForAnAlignmentThatWasCancelled) {
    dropAndWait(makeBracket(folder.path(), 60, 40));
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    makeToolWait("align_image_stack", copyEveryInput);
    whenTrue([this] { return toolWaits() && alignSheet() != nullptr; },
             [] { clickCancel(alignSheet()); });
    AutoAlignProgressDialog::init();
    ASSERT_TRUE(AutoAlignProgressDialog::isAlignmentRunning());
    whenTrue(
        [] {
            return sheet() != nullptr &&
                   sheet()->fileField()->text() == "Waiting for the alignment that still runs…";
        },
        [this] {
            EXPECT_EQ(gNumSourceImages, 3);
            letGo();
        });
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    expectAtRest();
}

}  // namespace lumaweave
