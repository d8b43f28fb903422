// SPDX-License-Identifier: GPL-3.0-or-later
#include "preview/PreviewWindow.h"

#include <QAction>
#include <QButtonGroup>
#include <QCheckBox>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

#include "fusion/SavePanel.h"
#include "imaging/decoding/ImageDecoder.h"
#include "platform/FileUrls.h"
#include "platform/Threads.h"
#include "preview/EnfusingProgressDialog.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/DecodedShot.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"
#include "stack/Turns.h"
#include "stack/WorkingFiles.h"
#include "support/AlertTexts.h"
#include "support/FakeTools.h"
#include "support/ShownWindow.h"
#include "support/UrlOpener.h"
#include "support/WaitingTool.h"
#include "support/WindowsFixture.h"
#include "widgets/FloatSlider.h"
#include "widgets/ImageView.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class PreviewWindowTest : public WindowsTest {
  protected:
    PreviewWindowTest() : preview(*windows->previewWindow()) {}

    void loadShots(int count, int width = 900, int height = 600) {
        dropAndWait(makeBracket(folder.path(), width, height, count));
    }
    // A real click at a point of the fused view (origin at its top left).
    void click(QPoint point) {
        QTest::mouseClick(preview.enfusedView(), Qt::LeftButton, {}, point);
    }

    PreviewWindow& preview;
};

TEST_F(PreviewWindowTest, RegistersItselfWithoutAPreview) {
    EXPECT_EQ(gPreviewWindow, &preview);
    EXPECT_TRUE(preview.enfuseImage().isNull());
}

TEST_F(PreviewWindowTest, AfterALoadThePreviewFillsTheView) {
    loadShots(3);
    const QImage shown = preview.enfusedView()->image();
    EXPECT_EQ(shown.size(), fittedPixels({900, 600}, preview.enfusedView()->size()));
    EXPECT_EQ(preview.enfuseImage().pixelsWide(), shown.width());
    EXPECT_EQ(log.count("Creating Detail Images..."), 1);
    // The screen shows the picture, with its ground around it.
    const QImage screen = preview.enfusedView()->grab().toImage();
    const QRectF where = ImageView::fittedRectangle(shown.size(), preview.enfusedView()->size(),
                                                    ImageView::Fit::fill);
    const QPoint origin = where.topLeft().toPoint();
    for (const QPoint point : {QPoint(5, 5), QPoint(200, 100), QPoint(300, 200)}) {
        EXPECT_EQ(QColor(screen.pixel(origin + point)).rgb(), QColor(shown.pixel(point)).rgb());
    }
}

TEST_F(PreviewWindowTest, AClickPicksTheDetailAroundIt) {
    loadShots(3);
    const QSize view = preview.enfusedView()->size();
    click({view.width() / 2, view.height() / 2});
    EXPECT_NEAR(gDetailCoord.x(), 450, 2);
    EXPECT_NEAR(gDetailCoord.y(), 300, 2);
    EXPECT_EQ(log.count("mouse down event..."), 1);
    EXPECT_EQ(
        log.count(QString::asprintf("image coords = %f, %f", gDetailCoord.x(), gDetailCoord.y())
                      .toStdString()),
        1);
    const Image crop = decodeImage(GetURLToDetailImageFile(1));
    EXPECT_EQ(QSize(crop.pixelsWide(), crop.pixelsHigh()), preview.detailView()->size());
    EXPECT_EQ(preview.detailView()->image().size(), preview.detailView()->size());
}

TEST_F(PreviewWindowTest, TheCropIsOneToOneAndCentredWithTheImagesOriginAtTheBottomLeft) {
    loadShots(2);
    const QSize size = preview.detailView()->size();
    // A point whose crop has whole coordinates, away from the middle, so that a flip would show.
    gDetailCoord = QPointF(300 + size.width() * 0.5, 400 + size.height() * 0.5);
    preview.createDetailImages();
    const Image crop = decodeImage(GetURLToDetailImageFile(0));
    const Image source = cell(0).theImage();
    const double top = 600 - (400.0 + size.height());
    const Image expected =
        source.cropped(QRectF(QPointF(300, top), size), size.width(), size.height());
    EXPECT_EQ(differenceBetween(crop, expected).largest, 0);
    // The first row inside the picture is the source's own row.
    const auto all = samplesOf(source);
    const auto cropped = samplesOf(crop);
    const int row = std::max(0, static_cast<int>(-top));
    const int sourceRow = static_cast<int>(top) + row;
    const auto from = static_cast<std::size_t>((sourceRow * 900 + 300) * 3);
    const auto to = static_cast<std::size_t>(row * size.width() * 4);
    EXPECT_EQ(all[from], cropped[to]);
    EXPECT_EQ(all[from + 1], cropped[to + 1]);
}

TEST_F(PreviewWindowTest, WhatLiesOutsideTheImageIsTransparent) {
    loadShots(2);
    gDetailCoord = {0, 0};
    preview.createDetailImages();
    const Image crop = decodeImage(GetURLToDetailImageFile(0));
    ASSERT_TRUE(crop.format().alpha);
    const auto samples = samplesOf(crop);
    const auto alphaAt = [&](int x, int y) {
        return samples[static_cast<std::size_t>((y * crop.pixelsWide() + x) * 4 + 3)];
    };
    EXPECT_EQ(alphaAt(0, 0), 0);
    EXPECT_EQ(alphaAt(crop.pixelsWide() - 1, 0), 1) << "the image's bottom left is the top right";
    EXPECT_EQ(alphaAt(crop.pixelsWide() - 1, crop.pixelsHigh() - 1), 0);
}

TEST_F(PreviewWindowTest, AClickInTheMarginMovesThePointButRebuildsNoDetail) {
    loadShots(2, 300, 600);  // portrait: margins left and right
    const int before = log.count("Creating Detail Images...");
    click({3, preview.enfusedView()->height() / 2});
    EXPECT_LT(gDetailCoord.x(), 0);
    EXPECT_EQ(log.count("Creating Detail Images..."), before);
    click({preview.enfusedView()->width() / 2, preview.enfusedView()->height() / 2});
    EXPECT_EQ(log.count("Creating Detail Images..."), before + 1);
}

TEST_F(PreviewWindowTest, APointOutsideIsUsedByTheNextRebuild) {
    loadShots(2, 300, 600);
    click({3, preview.enfusedView()->height() / 2});
    preview.createDetailImages();
    const auto samples = samplesOf(decodeImage(GetURLToDetailImageFile(0)));
    EXPECT_EQ(samples[3], 0) << "the crop lies outside at its left";
}

TEST_F(PreviewWindowTest, TheTopAndRightEdgesAreRefusedTheOthersTaken) {
    loadShots(2, 900, 600);
    const QSize view = preview.enfusedView()->size();
    const QRectF frame(preview.enfusedView()->mapTo(&preview, QPoint(0, 0)), view);
    const QPointF origin = flipped(frame, preview.height()).topLeft();
    const QRectF drawn = ImageView::fittedRectangle({900, 600}, view, ImageView::Fit::fill);
    const int before = log.count("Creating Detail Images...");
    preview.mouseDown(origin + QPointF(drawn.right() + 0.01, drawn.center().y()));
    preview.mouseDown(origin + QPointF(drawn.center().x(), drawn.bottom() + 0.01));
    EXPECT_EQ(log.count("Creating Detail Images..."), before);
    preview.mouseDown(origin + QPointF(drawn.left(), drawn.center().y()));
    EXPECT_EQ(gDetailCoord.x(), 0);
    EXPECT_EQ(log.count("Creating Detail Images..."), before + 1);
}

TEST_F(PreviewWindowTest, ADisabledCellStillGetsADetailImageButIsNotFused) {
    loadShots(3);
    fs::remove(GetURLToDetailImageFile(1));
    cell(1).setUrlToDetailImageFile({});
    cell(1).setEnabled(false);
    testing::internal::CaptureStdout();
    preview.createDetailImages();
    const auto commands = echoedCommands(testing::internal::GetCapturedStdout());
    EXPECT_TRUE(fs::exists(GetURLToDetailImageFile(1)));
    EXPECT_EQ(cell(1).urlToDetailImageFile(), GetURLToDetailImageFile(1));
    ASSERT_EQ(commands.size(), 1U);
    EXPECT_THAT(commands[0], testing::Not(HasSubstr("DetailImage 1.tif")));
}

TEST_F(PreviewWindowTest, AClickWithNothingLoadedDoesNoHarm) {
    click({20, 20});
    EXPECT_TRUE(preview.detailView()->image().isNull());
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(PreviewWindowTest, AResizeRebuildsTheScaledCopiesAndThePreview) {
    loadShots(2);
    const QSize before = preview.enfusedView()->size();
    bool shown = false;
    QObject::connect(&preview, &PreviewWindow::previewShown, [&shown] { shown = true; });
    windows->resize(windows->size() - QSize(150, 0));
    EXPECT_TRUE(waitUntil([&shown] { return shown; }));
    ASSERT_TRUE(waitForBackgroundTasks());
    const QSize view = preview.enfusedView()->size();
    EXPECT_LT(view.width(), before.width());
    const Image scaled = decodeImage(GetURLToScaledSourceFile(1));
    EXPECT_EQ(QSize(scaled.pixelsWide(), scaled.pixelsHigh()), fittedPixels({900, 600}, view));
    EXPECT_EQ(preview.enfusedView()->image().size(), fittedPixels({900, 600}, view));
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(PreviewWindowTest, WithOneShotAResizeRebuildsItsScaledCopyButFusesNothing) {
    loadShots(1);
    fs::remove(GetURLToScaledSourceFile(0));
    testing::internal::CaptureStdout();
    preview.windowDidEndLiveResize();
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_THAT(echoedCommands(testing::internal::GetCapturedStdout()), IsEmpty());
    EXPECT_TRUE(fs::exists(GetURLToScaledSourceFile(0)));
}

TEST_F(PreviewWindowTest, WithOneShotTheFuseButtonDoesNothing) {
    loadShots(1);
    gEnfuseSavePath = "/as it was";
    bool asked = false;
    setSaveFilenameChooser([&asked] {
        asked = true;
        return fs::path();
    });
    QTest::mouseClick(preview.fuseButton(), Qt::LeftButton);
    preview.enfuseItAction(nullptr);
    EXPECT_FALSE(asked);
    EXPECT_EQ(gEnfuseSavePath, "/as it was");
}

TEST_F(PreviewWindowTest, FusingIsOfferedWhileTwoOrMoreShotsAreInUse) {
    EXPECT_FALSE(preview.fuseButton()->isEnabled());
    loadShots(2);
    EXPECT_TRUE(preview.fuseButton()->isEnabled());
    EXPECT_TRUE(preview.fuseAction()->isEnabled());
    cell(1).useCheckBox()->click();
    EXPECT_FALSE(preview.fuseButton()->isEnabled());
    EXPECT_FALSE(preview.fuseAction()->isEnabled());
    cell(1).useCheckBox()->click();
    EXPECT_TRUE(preview.fuseButton()->isEnabled());
    cell(0).removeCellAction(nullptr);
    EXPECT_FALSE(preview.fuseButton()->isEnabled());
    ASSERT_TRUE(waitForBackgroundTasks());
}

TEST_F(PreviewWindowTest, AFusionThatEndsAfterItsStackHasGoneIsNotShown) {
    loadShots(2);
    const WaitingTool tool(folder.path());
    replaceFusionTool(tool.script() + takeArguments + copyLastInput);
    windows->settingsPanel()->changedSettingValue(nullptr);
    EXPECT_TRUE(waitUntil([] { return gEnfusingPreview.load(); }));
    windows->sourcesWindow()->clearAllCellsAction(nullptr);
    tool.letGo();
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_TRUE(preview.enfusedView()->image().isNull());
    EXPECT_TRUE(preview.detailView()->image().isNull());
}

TEST_F(PreviewWindowTest, AnOlderStacksFusionIsNeverShownForANewOne) {
    loadShots(2);
    windows->sourcesWindow()->clearAllCellsAction(nullptr);
    dropAndWait({folder / "shot 0.jpg"});
    cell(0).useCheckBox()->click();
    dropAndWait({folder / "shot 1.jpg"});
    EXPECT_TRUE(preview.enfusedView()->image().isNull());
    EXPECT_THAT(alerts.texts(), ElementsAre(previewNotFound));
}

TEST_F(PreviewWindowTest, CancellingTheSaveDialogLeavesNoPathAndStartsNothing) {
    loadShots(2);
    gEnfuseSavePath = "/as it was";
    setSaveFilenameChooser([] { return fs::path(); });
    testing::internal::CaptureStdout();
    QTest::mouseClick(preview.fuseButton(), Qt::LeftButton);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_TRUE(gEnfuseSavePath.empty());
}

TEST_F(PreviewWindowTest, TheFuseButtonWritesTheFileBehindAModalSheet) {
    loadShots(2);
    bool modal = false;
    bool endless = false;
    const AtShowing<EnfusingProgressDialog> watcher([&](EnfusingProgressDialog& dialog) {
        modal = dialog.isModal();
        endless = dialog.progressBar()->maximum() == dialog.progressBar()->minimum();
        // Neither key nor button ends it while the worker lives.
        QTest::keyClick(&dialog, Qt::Key_Escape);
        dialog.close();
    });
    testing::internal::CaptureStdout();
    fuseFullSize(folder / "result");
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(modal);
    EXPECT_TRUE(endless);
    EXPECT_THAT(linesStartingWith(output, "got save path"),
                ElementsAre("got save path:  " + (folder / "result.tif").native()));
    const Image result = decodeImage(folder / "result.tif");
    EXPECT_EQ(result.size(), QSizeF(900, 600));
    EXPECT_EQ(result.format().type, SampleType::uint16);
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(PreviewWindowTest, AnExistingResultIsRemovedBeforeTheToolRuns) {
    loadShots(2);
    folder.write("old.tif", "old");
    replaceFusionTool("exit 1");
    fuseFullSize(folder / "old.tif");
    EXPECT_FALSE(fs::exists(folder / "old.tif"));
}

TEST_F(PreviewWindowTest, APathThatMacRomanDoesNotHoldIsNotRemovedButOverwritten) {
    loadShots(2);
    const std::string name = "старый.tif";
    folder.write(name, "old");
    replaceFusionTool(std::string(takeArguments) + "[ -e \"$out\" ] && touch '" +
                      (folder / "was there").native() + "'\ncp \"$last\" \"$out\"");
    fuseFullSize(folder / name);
    EXPECT_TRUE(fs::exists(folder / "was there"));
    EXPECT_FALSE(decodeImage(folder / name).isNull());
}

TEST_F(PreviewWindowTest, AShotIsNeverOverwrittenByItsFusion) {
    saveImage(makeImage(90, 60, {}, sceneAt(1)), folder / "a.tif");
    saveImage(makeImage(90, 60, {}, sceneAt(2)), folder / "b.tif");
    dropAndWait({folder / "a.tif", folder / "b.tif"});
    const std::string before = readFile(folder / "a.tif");
    int calls = 0;
    setSaveFilenameChooser([&] { return ++calls == 1 ? folder / "a.tif" : folder / "c.tif"; });
    QTest::mouseClick(preview.fuseButton(), Qt::LeftButton);
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_EQ(readFile(folder / "a.tif"), before);
    EXPECT_TRUE(fs::exists(folder / "c.tif"));
    EXPECT_THAT(alerts.texts(), ElementsAre(HasSubstr("cannot take the place of a shot")));
}

TEST_F(PreviewWindowTest, Row3OpensTheResultWithTheDefaultProgram) {
    loadShots(2);
    UrlOpener desktop;
    preview.afterEnfusingRadioButtons()->button(PreviewWindow::openWithDefaultProgram)->click();
    fuseFullSize(folder / "my result.tif");
    EXPECT_EQ(desktop.opened, QList<QUrl>{urlFromPath(folder / "my result.tif")});
}

TEST_F(PreviewWindowTest, Row3AsksForAnUnreadableResultToo) {
    loadShots(2);
    UrlOpener desktop;
    replaceFusionTool("exit 1");
    preview.afterEnfusingRadioButtons()->button(PreviewWindow::openWithDefaultProgram)->click();
    fuseFullSize(folder / "out.tif");
    EXPECT_EQ(desktop.opened.size(), 1);
}

TEST_F(PreviewWindowTest, Row0DoesNothingMore) {
    loadShots(2);
    UrlOpener desktop;
    fuseFullSize(folder / "out.tif");
    EXPECT_THAT(desktop.opened, IsEmpty());
    EXPECT_EQ(QApplication::topLevelWidgets().count(windows.get()), 1);
}

TEST_F(PreviewWindowTest, TheNewestSettingsAreShownLast) {
    loadShots(2);
    // The tool writes down which settings it runs with.
    replaceFusionTool(R"(
for word in "$@"; do case $word in --exposure-mu=*) mu=${word#*=} ;; esac; done
echo $mu >> ')" + (folder / "order").native() +
                      "'\n" + takeArguments + copyLastInput);
    for (int i = 1; i <= 6; ++i) {
        windows->settingsPanel()->exposureMu()->setFloatValue(static_cast<float>(i) / 10.0F);
        windows->settingsPanel()->changedSettingValue(nullptr);
    }
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_THAT(readFile(folder / "order"), testing::EndsWith("0.600000\n"));
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

}  // namespace lumaweave
