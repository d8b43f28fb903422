// SPDX-License-Identifier: GPL-3.0-or-later

// Shots and results in windows of their own, in the whole program with the real fusion tool.

#include <QAction>
#include <QApplication>
#include <QButtonGroup>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QRadioButton>
#include <QTest>
#include <QTimer>
#include <csignal>

#include "app/ProgramRun.h"
#include "imaging/decoding/ImageDecoder.h"
#include "platform/Threads.h"
#include "preview/OutputImageWindow.h"
#include "preview/PreviewWindow.h"
#include "preview/SourceImageWindow.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/SourceCellImageView.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"
#include "support/AlertTexts.h"
#include "support/Colours.h"
#include "support/FakeTools.h"
#include "support/FormatFixtures.h"
#include "support/ProgramFixture.h"
#include "support/ShownWindow.h"
#include "widgets/ZoomView.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

// What the view shows at 1:1, as far as it is visible, from the picture's top left.
QImage shownPixels(ZoomView& view) {
    view.zoomToActualSize();
    EXPECT_TRUE(waitUntil([&view] { return view.isSharp(); }));
    return view.viewport()->grab().toImage();
}

QColor shownColour(ZoomView& view) {
    return middleOf(shownPixels(view));
}

}  // namespace

class PictureWindowsTest : public ProgramTest {
  protected:
    PictureWindowsTest() : preview(*windows->previewWindow()) {}

    void chooseToShowTheResult() {
        QAbstractButton* choice =
            preview.afterEnfusingRadioButtons()->button(PreviewWindow::showInWindow);
        QTest::mouseClick(choice, Qt::LeftButton, {}, {8, choice->height() / 2});
        EXPECT_TRUE(choice->isChecked());
    }
    QPointer<OutputImageWindow> fuseAndShow(const std::string& name) {
        fuseFullSize(folder / name);
        const QPointer<OutputImageWindow> window = preview.outputImageWindow();
        EXPECT_TRUE(waitUntil([&window] { return window.isNull() || window->isVisible(); }));
        return window;
    }
    QPointer<SourceImageWindow> clickShot(int index) {
        QTest::mouseClick(cell(index).cellImageView(), Qt::LeftButton);
        const auto open = shownWindows<SourceImageWindow>();
        return open.isEmpty() ? nullptr : open.back();
    }

    PreviewWindow& preview;
};

TEST_F(PictureWindowsTest, ShowTheResultOpensAWindowOnIt) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 3));
    chooseToShowTheResult();
    const auto window = fuseAndShow("my result.tif");
    ASSERT_FALSE(window.isNull());
    EXPECT_EQ(window->windowTitle(), "my result.tif");
    EXPECT_EQ(differenceBetween(window->theView()->image(), decodeImage(folder / "my result.tif"))
                  .largest,
              0);
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(PictureWindowsTest, TheMenuOffersItToo) {
    QAction* choice = nullptr;
    for (const QAction* top : windows->menuBar()->actions()) {
        for (QAction* item : top->menu()->actions()) {
            if (item->text() == "Show the result") choice = item;
        }
    }
    ASSERT_NE(choice, nullptr);
    choice->trigger();
    EXPECT_EQ(preview.afterEnfusingRadioButtons()->checkedId(), PreviewWindow::showInWindow);
}

TEST_F(PictureWindowsTest, WithoutAResultThereIsAnAlertAndNoWindow) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 2));
    chooseToShowTheResult();
    for (const char* tool : {fail, writeNothing}) {
        replaceFusionTool(tool);
        EXPECT_TRUE(fuseAndShow("result.tif").isNull());
        // It comes after the alert about the metadata.
        EXPECT_EQ(alerts.count(resultNotShown), 1);
        EXPECT_EQ(alerts.texts().back(), resultNotShown);
        EXPECT_THAT(shownWindows<OutputImageWindow>(), IsEmpty());
        alerts.forget();
    }
    EXPECT_EQ(log.count("OutputImageWindow : image == nil"), 2);
}

TEST_F(PictureWindowsTest, HalfAResultIsAnAlertToo) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 2));
    chooseToShowTheResult();
    replaceFusionTool(std::string(takeArguments) + leaveHalfAFile);
    EXPECT_TRUE(fuseAndShow("result.tif").isNull());
    EXPECT_EQ(alerts.count(resultNotShown), 1);
}

TEST_F(PictureWindowsTest, EveryFusionOpensAWindowOfItsOwn) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 2));
    chooseToShowTheResult();
    const auto first = fuseAndShow("one.tif");
    const auto second = fuseAndShow("two.tif");
    ASSERT_FALSE(first.isNull());
    ASSERT_FALSE(second.isNull());
    EXPECT_EQ(first->windowTitle(), "one.tif");
    EXPECT_EQ(second->windowTitle(), "two.tif");
    EXPECT_EQ(preview.outputImageWindow(), second);
    second->close();
    EXPECT_TRUE(waitUntilGone(second));
    EXPECT_EQ(preview.outputImageWindow(), nullptr);
    EXPECT_TRUE(first->isVisible());
}

TEST_F(PictureWindowsTest, TheOtherChoicesOpenNoWindow) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 2));
    fuseFullSize(folder / "result.tif");
    EXPECT_THAT(shownWindows<OutputImageWindow>(), IsEmpty());
    EXPECT_EQ(preview.outputImageWindow(), nullptr);
}

// Two equal shots of one colour fuse to that colour.
TEST_F(PictureWindowsTest, TheResultsColoursAreRightAtEveryDepth) {
    dropTwoOf(plainPicture(300, 200, std::array{0.78, 0.47, 0.24}));
    chooseToShowTheResult();
    for (int row = 0; row < 3; ++row) {
        chooseDepth(row);
        const auto window = fuseAndShow("depth.tif");
        ASSERT_FALSE(window.isNull());
        EXPECT_THAT(shownColour(*window->theView()), isNear({199, 120, 61}, 1)) << row;
        window->close();
    }
}

TEST_F(PictureWindowsTest, AWideColourProfileIsConvertedAtEveryDepth) {
    const std::array<double, 3> colour = {0.78, 0.47, 0.24};
    const std::array<double, 3> expected = levelsOf(inSrgb(displayP3Space, colour));
    EXPECT_GT(std::abs(expected[0] - 199), 4) << "the profile makes a difference";
    dropTwoOf(withProfile(plainPicture(300, 200, colour), profileOf(displayP3Space)));
    chooseToShowTheResult();
    for (int row = 0; row < 3; ++row) {
        chooseDepth(row);
        const auto window = fuseAndShow("wide.tif");
        ASSERT_FALSE(window.isNull());
        const auto shot = clickShot(0);
        ASSERT_FALSE(shot.isNull());
        for (ZoomView* view : {window->theView(), shot->theView()}) {
            EXPECT_THAT(shownColour(*view), isNear(expected, 2)) << row;
        }
        window->close();
        shot->close();
    }
}

TEST_F(PictureWindowsTest, AClickOnAThumbnailShowsTheShotUnderItsName) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 3));
    const auto window = clickShot(1);
    ASSERT_FALSE(window.isNull());
    EXPECT_EQ(window->windowTitle(), "shot 1.jpg");
    EXPECT_TRUE(window->theView()->image().sharesPixelsWith(cell(1).theImage()));
    const QImage shown = shownPixels(*window->theView()).convertToFormat(QImage::Format_RGB32);
    const QImage expected = cell(1).theImage().toScreen().convertToFormat(QImage::Format_RGB32);
    const QPoint corner((shown.width() - 300) / 2, (shown.height() - 200) / 2);
    EXPECT_EQ(shown.copy(QRect(corner, QSize(300, 200))), expected);
}

TEST_F(PictureWindowsTest, OnlyAFilledCellSaysThatItCanBeClicked) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 1));
    EXPECT_EQ(cell(0).cellImageView()->cursor().shape(), Qt::PointingHandCursor);
    EXPECT_FALSE(cell(0).cellImageView()->toolTip().isEmpty());
    EXPECT_TRUE(cell(1).cellImageView()->toolTip().isEmpty());
    cell(0).removeCellAction(nullptr);
    EXPECT_EQ(cell(0).cellImageView()->cursor().shape(), Qt::ArrowCursor);
    EXPECT_TRUE(cell(0).cellImageView()->toolTip().isEmpty());
}

TEST_F(PictureWindowsTest, AClickOnAnEmptyCellOrWithAnotherButtonDoesNothing) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 1));
    EXPECT_TRUE(clickShot(1).isNull());
    QTest::mouseClick(cell(0).cellImageView(), Qt::RightButton);
    EXPECT_THAT(shownWindows<SourceImageWindow>(), IsEmpty());
    cell(0).showSourceFullSizeAction(nullptr);
    EXPECT_THAT(shownWindows<SourceImageWindow>(), IsEmpty());
    cell(0).removeCellAction(nullptr);
    EXPECT_TRUE(clickShot(0).isNull());
}

TEST_F(PictureWindowsTest, TheNumberOfClicksIsNotAskedFor) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 1));
    // A double click is a press and, instead of the second press, this.
    QTest::mouseClick(cell(0).cellImageView(), Qt::LeftButton);
    QTest::mouseDClick(cell(0).cellImageView(), Qt::LeftButton);
    EXPECT_THAT(shownWindows<SourceImageWindow>(), SizeIs(2));
}

TEST_F(PictureWindowsTest, AShotsWindowOutlivesItsCellsContents) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 2));
    const QImage before = cell(0).theImage().toScreen();
    const auto window = clickShot(0);
    windows->sourcesWindow()->clearAllCellsAction(nullptr);
    fs::remove_all(folder / "shot 0.jpg");
    saveImage(makeImage(500, 400, {}, sceneAt(3, 9)), folder / "other.jpg");
    dropAndWait({folder / "other.jpg"});
    EXPECT_EQ(cell(0).theImage().size(), QSizeF(500, 400));
    const QImage shown = shownPixels(*window->theView()).convertToFormat(QImage::Format_RGB32);
    const QPoint corner((shown.width() - 300) / 2, (shown.height() - 200) / 2);
    EXPECT_EQ(shown.copy(QRect(corner, QSize(300, 200))),
              before.convertToFormat(QImage::Format_RGB32));
    EXPECT_EQ(window->windowTitle(), "shot 0.jpg");
}

TEST_F(PictureWindowsTest, AWindowDoesNotHinderFurtherWork) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 2));
    const auto window = clickShot(0);
    EXPECT_FALSE(window->isModal());
    QTest::mouseClick(preview.enfusedView(), Qt::LeftButton);
    fuseFullSize(folder / "result.tif");
    EXPECT_TRUE(fs::exists(folder / "result.tif"));
    EXPECT_TRUE(window->isVisible());
}

// The event loop as main() runs it, until it ends by itself; a bound ends it with 1.
class QuittingTest : public PictureWindowsTest {
  protected:
    QuittingTest() {
        quitOnSignals();
        dropAndWait(makeBracket(folder.path(), 300, 200, 2));
        chooseToShowTheResult();
        result = fuseAndShow("result.tif");
        shot = clickShot(0);
        EXPECT_THAT(shownWindows<QWidget>(), testing::Contains(result.data()));
        EXPECT_THAT(shownWindows<QWidget>(), testing::Contains(shot.data()));
    }
    static int runProgramUntilItEnds() {
        QApplication::setQuitOnLastWindowClosed(true);
        QTimer::singleShot(60'000, qApp, [] { QCoreApplication::exit(1); });
        const int status = QApplication::exec();
        QApplication::setQuitOnLastWindowClosed(false);
        return status;
    }

    QPointer<OutputImageWindow> result;
    QPointer<SourceImageWindow> shot;
};

TEST_F(QuittingTest, ClosingTheMainWindowClosesPictureWindowsAndEndsTheProgram) {
    QTimer::singleShot(0, windows.get(), &QWidget::close);
    EXPECT_EQ(runProgramUntilItEnds(), 0);
    EXPECT_TRUE(result.isNull());
    EXPECT_TRUE(shot.isNull());
}

TEST_F(QuittingTest, ASignalEndsTheProgramAlsoWithPictureWindowsOpen) {
    QTimer::singleShot(0, [] { std::raise(SIGTERM); });
    EXPECT_EQ(runProgramUntilItEnds(), 0);
    EXPECT_TRUE(result.isNull());
    EXPECT_TRUE(shot.isNull());
}

TEST_F(QuittingTest, AWindowThatWaitsForItsPictureDoesNotHinderTheEnd) {
    QPointer<OutputImageWindow> waiting;
    QTimer::singleShot(0, windows.get(), [this, &waiting] {
        preview.showOutputImage();
        waiting = preview.outputImageWindow();
        windows->close();
    });
    EXPECT_EQ(runProgramUntilItEnds(), 0);
    EXPECT_TRUE(waiting.isNull());
}

TEST_F(QuittingTest, ClosingAPictureWindowDoesNotEndTheProgram) {
    QTimer::singleShot(0, shot, &QWidget::close);
    QTimer::singleShot(0, result, &QWidget::close);
    QTimer::singleShot(200, qApp, [] { QCoreApplication::exit(7); });
    EXPECT_EQ(runProgramUntilItEnds(), 7);
    EXPECT_TRUE(shot.isNull());
    EXPECT_TRUE(windows->isVisible());
}

TEST_F(QuittingTest, WindowsStillOpenGoWithTheMainWindow) {
    windows.reset();
    EXPECT_TRUE(result.isNull());
    EXPECT_TRUE(shot.isNull());
}

}  // namespace lumaweave
