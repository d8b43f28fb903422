// SPDX-License-Identifier: GPL-3.0-or-later

// Cancelled alignments, and alignments on other threads than the main one.

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <atomic>

#include "align/AlignCommand.h"
#include "align/AlignFixture.h"
#include "platform/Resources.h"
#include "platform/Threads.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"
#include "stack/WorkingFiles.h"
#include "support/AlertTexts.h"
#include "support/ShownWindow.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class CancelledAlignmentTest : public AlignTest {
  protected:
    // Starts an alignment whose tool waits, and cancels it in the given way as soon as the tool
    // runs. Returns when the sheet has gone.
    void alignAndCancel(const std::function<void(AutoAlignProgressDialog&)>& way,
                        const std::string& script = copyEveryInput) {
        makeAlignToolWait(script);
        whenTrue([this] { return sheet() != nullptr && toolWaits(); }, [way] { way(*sheet()); });
        AutoAlignProgressDialog::init();
    }
    static void press(AutoAlignProgressDialog& dialog) {
        QTest::mouseClick(button(&dialog, "cancelButton"), Qt::LeftButton);
    }
};

TEST_F(CancelledAlignmentTest, AnswersAtOnceAndTheWorkerGoesOnToItsEnd) {
    dropAndWait(makeShots(2));
    testing::internal::CaptureStdout();
    alignAndCancel(press);
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_EQ(log.count(complete), 0) << "the tool still runs";
    EXPECT_TRUE(AutoAlignProgressDialog::isAlignmentRunning());
    EXPECT_EQ(cell(0).urlToImageFile(), GetURLToTIFFedSource(0));
    letGo();
    ASSERT_TRUE(waitForBackgroundTasks());
    const std::string output = testing::internal::GetCapturedStdout();
    expectCellShows(0, alignedImageFile(0));
    expectCellShows(1, alignedImageFile(1));
    EXPECT_EQ(log.count(complete), 1);
    EXPECT_EQ(previewLines(output).size(), 1U);
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(CancelledAlignmentTest, EscapeAndTheWindowsCloseButtonCancelToo) {
    dropAndWait(makeShots(2));
    alignAndCancel(
        [](AutoAlignProgressDialog& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); });
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_TRUE(AutoAlignProgressDialog::isAlignmentRunning());
    letGo();
    ASSERT_TRUE(waitForBackgroundTasks());
    alignAndCancel([](AutoAlignProgressDialog& dialog) { dialog.close(); });
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_TRUE(AutoAlignProgressDialog::isAlignmentRunning());
    letGo();
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(CancelledAlignmentTest, TheCommandStaysDisabledUntilTheWorkerHasEnded) {
    dropAndWait(makeShots(2));
    alignAndCancel(press);
    EXPECT_FALSE(sources.alignButton()->isEnabled());
    EXPECT_FALSE(sources.alignAction()->isEnabled());
    EXPECT_THAT(sources.alignButton()->toolTip().toStdString(), HasSubstr("still at work"));
    sources.autoAlign(nullptr);  // opens nothing
    cell(0).updateViewWithImageOnMainThread();
    EXPECT_FALSE(sources.alignButton()->isEnabled());
    letGo();
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_TRUE(sources.alignButton()->isEnabled());
    EXPECT_TRUE(sources.alignAction()->isEnabled());
}

TEST_F(CancelledAlignmentTest, AStackThatCameMeanwhileIsLeftAlone) {
    dropAndWait(makeShots(3));
    alignAndCancel(press);
    sources.clearAllCellsAction(nullptr);
    sources.addFiles({picture("new a.jpg", 80, 60, 0.5), picture("new b.jpg", 80, 60, 2)});
    const Image first = cell(0).theImage();
    letGo();
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_EQ(cell(0).urlToImageFile(), GetURLToTIFFedSource(0));
    EXPECT_TRUE(cell(0).theImage().sharesPixelsWith(first));
    EXPECT_TRUE(cell(2).urlToImageFile().empty());
    EXPECT_EQ(gNumSourceImages, 2);
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(log.count(complete), 1);
}

TEST_F(CancelledAlignmentTest, ACellThatWasEmptiedMeanwhileStaysEmpty) {
    dropAndWait(makeShots(3));
    alignAndCancel(press);
    cell(1).removeCellAction(nullptr);
    letGo();
    ASSERT_TRUE(waitForBackgroundTasks());
    expectCellShows(0, alignedImageFile(0));
    EXPECT_TRUE(cell(1).urlToImageFile().empty());
    EXPECT_TRUE(cell(1).theImage().isNull());
    expectCellShows(2, alignedImageFile(2));
    EXPECT_EQ(gNumSourceImages, 2);
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(CancelledAlignmentTest, TheNextAlignmentWaitsForTheEndOfTheCancelledOne) {
    dropAndWait(makeShots(2));
    alignAndCancel(press);
    // As the batch does, by another command.
    std::atomic<bool> ended = false;
    performInBackground([&ended] {
        AutoAlignProgressDialog::init();
        ended = true;
    });
    ASSERT_TRUE(waitUntil([] { return sheet() != nullptr; }));
    EXPECT_TRUE(waitUntil([] {
        return sheet()->textField()->text() == "Waiting for the alignment that still runs…";
    }));
    EXPECT_EQ(log.count("reassigning aligned imags to souce cells..."), 0);
    EXPECT_FALSE(ended);
    letGo();
    ASSERT_TRUE(waitUntil([this] { return toolWaits(); }));
    EXPECT_EQ(log.count(complete), 1);
    letGo();
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_TRUE(ended);
    EXPECT_EQ(log.count(complete), 2);
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

// How the batch calls the alignment: from its own thread, below its own sheet.
class AlignmentFromAnotherThreadTest : public AlignTest {
  protected:
    void startAsBatch() {
        performInBackground([this] {
            AutoAlignProgressDialog::init();
            returned = true;
        });
    }
    std::atomic<bool> returned = false;
};

TEST_F(AlignmentFromAnotherThreadTest, TheSheetOpensOnTheMainThreadWhileTheCallerWaits) {
    dropAndWait(makeShots(2));
    makeAlignToolWait(copyEveryInput);
    startAsBatch();
    ASSERT_TRUE(waitUntil([this] { return sheet() != nullptr && toolWaits(); }));
    EXPECT_EQ(sheet()->thread(), qApp->thread());
    EXPECT_FALSE(returned);
    letGo();
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_TRUE(returned);
    EXPECT_EQ(sheet(), nullptr);
    expectCellShows(1, alignedImageFile(1));
    EXPECT_EQ(log.count(complete), 1) << "and the preview follows as ever";
}

TEST_F(AlignmentFromAnotherThreadTest, TheCallersSheetAndTheAlignmentsCanBothBeAnswered) {
    dropAndWait(makeShots(2));
    makeAlignToolWait(copyEveryInput);
    Sheet batch;
    int clicks = 0;
    auto* cancel = new QPushButton("Cancel", &batch);
    QObject::connect(cancel, &QPushButton::clicked, [&] { ++clicks; });
    whenTrue([&batch] { return batch.isRunning(); }, [this] { startAsBatch(); });
    whenTrue([this] { return sheet() != nullptr && toolWaits(); },
             [&] {
                 clickThroughWindow(*cancel);
                 clickThroughWindow(*button(sheet(), "cancelButton"));
                 whenTrue([this] { return returned.load(); }, [&batch] { batch.stop(7); });
             });
    batch.begin(windows.get());
    // No loop of the alignment runs inside the batch's own, so that one ends at once.
    EXPECT_EQ(batch.run(), 7);
    batch.end();
    EXPECT_EQ(clicks, 1);
    EXPECT_TRUE(AutoAlignProgressDialog::isAlignmentRunning()) << "cancelled, but not ended";
    letGo();
    ASSERT_TRUE(waitForBackgroundTasks());
}

TEST_F(AlignmentFromAnotherThreadTest, TheBatchsSheetCanEndWhileTheAlignmentRuns) {
    dropAndWait(makeShots(2));
    makeAlignToolWait(copyEveryInput);
    Sheet batch;
    whenTrue([&batch] { return batch.isRunning(); }, [this] { startAsBatch(); });
    whenTrue([this] { return sheet() != nullptr && toolWaits(); }, [&batch] { batch.stop(0); });
    batch.begin(windows.get());
    EXPECT_EQ(batch.run(), 0);
    batch.end();
    EXPECT_FALSE(returned);
    EXPECT_NE(sheet(), nullptr);
    letGo();
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_TRUE(returned);
}

TEST_F(AlignmentFromAnotherThreadTest, ACancelLetsTheCallerGoOnAtOnce) {
    dropAndWait(makeShots(2));
    makeAlignToolWait(copyEveryInput);
    startAsBatch();
    ASSERT_TRUE(waitUntil([this] { return sheet() != nullptr && toolWaits(); }));
    QTest::mouseClick(button(sheet(), "cancelButton"), Qt::LeftButton);
    EXPECT_TRUE(waitUntil([this] { return returned.load(); }));
    EXPECT_EQ(log.count(complete), 0);
    letGo();
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_EQ(log.count(complete), 1);
}

TEST_F(AlignmentFromAnotherThreadTest, AFailureIsToldAndTheCallerGoesOn) {
    dropAndWait(makeShots(2));
    replaceAlignTool("exit 1\n");
    startAsBatch();
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_TRUE(returned);
    EXPECT_THAT(alerts.texts(), ElementsAre(loadingFailed));
}

TEST_F(AlignmentFromAnotherThreadTest, WithoutTheToolTheCallerGoesOn) {
    dropAndWait(makeShots(2));
    setResourceFolder(folder.path());
    startAsBatch();
    ASSERT_TRUE(waitForBackgroundTasks());
    setResourceFolder(LUMAWEAVE_RESOURCES);
    EXPECT_TRUE(returned);
    EXPECT_EQ(alerts.texts().size(), 1U);
}

}  // namespace lumaweave
