// SPDX-License-Identifier: GPL-3.0-or-later

// The windows on a result and on a shot.

#include <gmock/gmock.h>

#include <QAction>
#include <QApplication>
#include <QPointer>
#include <QScreen>
#include <QSettings>
#include <QTest>
#include <fstream>

#include "imaging/decoding/ImageDecoder.h"
#include "imaging/picture/PixelData.h"
#include "platform/Threads.h"
#include "platform/WorkingFolder.h"
#include "preview/OutputImageWindow.h"
#include "preview/SourceImageWindow.h"
#include "stack/SharedState.h"
#include "support/AlertTexts.h"
#include "support/Colours.h"
#include "support/ShownWindow.h"
#include "support/WindowsFixture.h"
#include "widgets/ZoomView.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

Image plain(const QColor& colour, const PixelFormat& format = {}) {
    return plainPicture(300, 200, colour, format);
}

// The colour in the middle of the picture, on the screen.
QColor shownColour(ZoomView& view) {
    EXPECT_TRUE(waitUntil([&view] { return view.isSharp(); }));
    return middleOf(view.viewport()->grab().toImage());
}

}  // namespace

class OutputImageWindowTest : public WindowsTest {
  protected:
    // A window on the file once it is loaded; null when that fails.
    QPointer<OutputImageWindow> open(const fs::path& file) {
        gEnfuseSavePath = file;
        const QPointer<OutputImageWindow> window = new OutputImageWindow;
        window->init();
        EXPECT_TRUE(waitUntil([&window] { return window.isNull() || window->isVisible(); }));
        return window;
    }
    fs::path result(const std::string& name = "result.tif", const QColor& colour = Qt::red) {
        const fs::path file = folder / name;
        saveImage(plain(colour), file);
        return file;
    }
    void expectTold() {
        EXPECT_THAT(alerts.texts(), ElementsAre(resultNotShown));
        EXPECT_EQ(log.count("OutputImageWindow : image == nil"), 1);
        EXPECT_THAT(allWindows<OutputImageWindow>(), IsEmpty());
        EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
    }
};

TEST_F(OutputImageWindowTest, ShowsTheResultInTheMiddleOfTheScreen) {
    const auto window = open(result());
    ASSERT_FALSE(window.isNull());
    EXPECT_EQ(window->windowTitle(), "result.tif");
    EXPECT_EQ(window->theView()->image().size(), QSizeF(300, 200));
    EXPECT_EQ(window->theView()->objectName(), "theView");
    EXPECT_EQ(shownColour(*window->theView()), QColor(Qt::red));
    const QPoint off = window->geometry().center() - window->screen()->availableGeometry().center();
    EXPECT_LE(off.manhattanLength(), 2);
    EXPECT_TRUE(window->isWindow());
    EXPECT_EQ(window->parentWidget(), nullptr);
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(OutputImageWindowTest, AResultThatDoesNotExistIsToldAndNoWindowOpens) {
    EXPECT_TRUE(open(folder / "gone.tif").isNull());
    expectTold();
}

TEST_F(OutputImageWindowTest, AResultThatIsNoPictureIsTold) {
    EXPECT_TRUE(open(folder.write("words.tif", "words")).isNull());
    expectTold();
}

TEST_F(OutputImageWindowTest, HalfAResultIsToldAlthoughItsHeaderCanBeRead) {
    const fs::path file = result();
    fs::resize_file(file, fs::file_size(file) / 2);
    EXPECT_TRUE(open(file).isNull());
    expectTold();
}

TEST_F(OutputImageWindowTest, WithoutAPathItIsToldToo) {
    EXPECT_TRUE(open({}).isNull());
    expectTold();
}

TEST_F(OutputImageWindowTest, NothingIsEverShownOfAWindowWithoutAPicture) {
    bool shown = false;
    const AtShowing<OutputImageWindow> watcher([&shown](OutputImageWindow&) { shown = true; });
    const fs::path file = result();
    fs::resize_file(file, fs::file_size(file) - 100);
    open(file);
    EXPECT_FALSE(shown);
    open(result());
    EXPECT_TRUE(shown);
}

TEST_F(OutputImageWindowTest, TheFileIsDecodedInTheBackgroundBehindABusyPointer) {
    gEnfuseSavePath = result();
    const QPointer<OutputImageWindow> window = new OutputImageWindow;
    window->init();
    EXPECT_FALSE(window->isVisible());
    EXPECT_EQ(QGuiApplication::overrideCursor()->shape(), Qt::BusyCursor);
    gEnfuseSavePath = "/elsewhere.tif";
    ASSERT_TRUE(waitUntil([&window] { return window->isVisible(); }));
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
    EXPECT_EQ(window->windowTitle(), "result.tif");
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(OutputImageWindowTest, ClosedWhileItsFileIsBeingDecodedItNeverShows) {
    gEnfuseSavePath = result();
    const QPointer<OutputImageWindow> window = new OutputImageWindow;
    window->init();
    window->close();
    ASSERT_TRUE(waitForBackgroundTasks());
    ASSERT_TRUE(waitUntilGone(window));
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(OutputImageWindowTest, TwiceOpenedThereAreTwoIndependentWindows) {
    const fs::path file = result();
    const auto first = open(file);
    const auto second = open(file);
    ASSERT_FALSE(first.isNull());
    ASSERT_FALSE(second.isNull());
    EXPECT_NE(first, second);
    EXPECT_FALSE(first->theView()->image().sharesPixelsWith(second->theView()->image()));
    second->theView()->zoomToActualSize();
    EXPECT_TRUE(first->theView()->isFitted());
    first->close();
    ASSERT_TRUE(waitUntilGone(first));
    EXPECT_TRUE(second->isVisible());
    EXPECT_EQ(shownColour(*second->theView()), QColor(Qt::red));
}

TEST_F(OutputImageWindowTest, ClosingClearsThePictureBeforeTheWindowGoes) {
    const auto window = open(result());
    window->close();
    ASSERT_FALSE(window.isNull()) << "it goes when its closing has been handled";
    EXPECT_TRUE(window->theView()->image().isNull());
    EXPECT_TRUE(waitUntilGone(window));
}

TEST_F(OutputImageWindowTest, TheFileMayChangeOrGoWhileItsWindowIsOpen) {
    const fs::path file = result();
    const auto window = open(file);
    std::ofstream(file, std::ios::trunc) << "x";
    fs::remove(file);
    window->theView()->zoomToActualSize();
    EXPECT_EQ(shownColour(*window->theView()), QColor(Qt::red));
}

TEST_F(OutputImageWindowTest, EveryDepthIsShownInItsColours) {
    const QColor colour(200, 120, 60);
    for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
        const fs::path file = folder / "deep.tif";
        saveImage(plain(colour, {3, false, type}), file);
        const auto window = open(file);
        ASSERT_FALSE(window.isNull());
        EXPECT_EQ(window->theView()->image().format().type, type);
        for (int i = 0; i < 2; ++i) {
            EXPECT_THAT(shownColour(*window->theView()), isNear({200, 120, 60}, 1));
            window->theView()->zoomToActualSize();
        }
        window->close();
    }
}

// Too large for memory: its pixels come through a file that leaves no trace.
TEST_F(OutputImageWindowTest, ALargeResultLeavesNothingInTheWorkingFolder) {
    const fs::path file = folder / "large.tif";
    saveImage(plainPicture(6000, 4000, Qt::green, {1, false, SampleType::uint16}), file);
    const auto window = open(file);
    ASSERT_FALSE(window.isNull());
    EXPECT_EQ(window->theView()->image().size(), QSizeF(6000, 4000));
    EXPECT_TRUE(waitUntil([&window] { return window->theView()->isSharp(); }));
    for (const auto& entry : fs::directory_iterator(workingFolder()))
        EXPECT_NE(entry.path().extension(), ".tif") << entry.path();
}

TEST_F(OutputImageWindowTest, EscapeAndControlWClose) {
    for (const auto& [key, modifier] :
         {std::pair(Qt::Key_Escape, Qt::NoModifier), {Qt::Key_W, Qt::ControlModifier}}) {
        const auto window = open(result());
        QApplication::setActiveWindow(window);
        QTest::keyClick(window->theView(), key, modifier);
        EXPECT_TRUE(waitUntilGone(window));
    }
}

TEST_F(OutputImageWindowTest, TheArrowKeysReachThePicture) {
    const auto window = open(result());
    QApplication::setActiveWindow(window);
    EXPECT_EQ(window->focusWidget(), window->theView());
}

TEST_F(OutputImageWindowTest, TheSizeIsRememberedForItsKindOfWindow) {
    const fs::path file = result();
    const auto first = open(file);
    const QSize firstSize = first->size();
    first->resize(640, 480);
    first->close();
    const auto second = open(file);
    EXPECT_EQ(second->size(), QSize(640, 480));
    const QPoint off = second->geometry().center() - second->screen()->availableGeometry().center();
    EXPECT_LE(off.manhattanLength(), 2) << "in the middle all the same";
    auto* shot = new SourceImageWindow;
    shot->initWithImage(plain(Qt::blue), "a shot");
    EXPECT_EQ(shot->size(), firstSize);
    shot->resize(500, 400);
    shot->close();
    auto* next = new SourceImageWindow;
    next->initWithImage(plain(Qt::blue), "a shot");
    EXPECT_EQ(next->size(), QSize(500, 400));
}

TEST_F(OutputImageWindowTest, ADamagedOrOversizedSizeIsMended) {
    QSettings().setValue("arrangement/outputImageWindow", "words");
    const fs::path file = result();
    const auto first = open(file);
    const QSize screen = first->screen()->availableSize();
    EXPECT_GT(first->width(), 300);
    first->resize(5000, 4000);
    first->close();
    const auto second = open(file);
    EXPECT_LE(second->width(), screen.width());
    EXPECT_LE(second->height(), screen.height());
}

class SourceImageWindowTest : public WindowsTest {
  protected:
    // A picture whose pixels say whether somebody still holds them.
    struct Watched {
        Image image;
        std::weak_ptr<const void> held;
    };
    static Watched watched(const QColor& colour) {
        PixelData data = plain(colour).pixels();
        const auto owner = std::make_shared<const std::shared_ptr<const void>>(data.owner);
        data.owner = owner;
        return {Image(std::make_shared<const PixelData>(std::move(data))), owner};
    }
    static QPointer<SourceImageWindow> open(const Image& image, const QString& title = "shot.jpg") {
        const QPointer<SourceImageWindow> window = new SourceImageWindow;
        window->initWithImage(image, title);
        return window;
    }
};

TEST_F(SourceImageWindowTest, ShowsThePictureUnderItsTitleAtTheSizeOfTheLayout) {
    const auto window = open(plain(Qt::red), "shot.jpg");
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->windowTitle(), "shot.jpg");
    EXPECT_EQ(window->size(), QSize(1000, 740));
    EXPECT_EQ(window->theView()->objectName(), "theView");
    const QPoint off = window->geometry().center() - window->screen()->availableGeometry().center();
    EXPECT_LE(off.manhattanLength(), 2);
    EXPECT_EQ(shownColour(*window->theView()), QColor(Qt::red));
}

TEST_F(SourceImageWindowTest, ClosingClearsThePictureInTheDestructor) {
    Watched picture = watched(Qt::red);
    const auto window = open(picture.image);
    picture.image = {};
    EXPECT_EQ(shownColour(*window->theView()), QColor(Qt::red));
    ASSERT_TRUE(waitForBackgroundTasks());
    window->close();
    ASSERT_FALSE(window.isNull());
    EXPECT_FALSE(window->theView()->image().isNull());
    EXPECT_FALSE(picture.held.expired());
    ASSERT_TRUE(waitUntilGone(window));
    EXPECT_TRUE(picture.held.expired());
}

TEST_F(SourceImageWindowTest, ManyAreOpenAtOnceEachForItself) {
    QList<QPointer<SourceImageWindow>> open16;
    for (int i = 0; i < 16; ++i)
        open16 << open(plain(QColor(10 * i, 40, 200)), QString::number(i));
    for (int i = 0; i < 16; i += 2)
        open16[i]->close();
    for (int i = 0; i < 16; i += 2)
        ASSERT_TRUE(waitUntilGone(open16[i]));
    for (int i = 1; i < 16; i += 2) {
        EXPECT_EQ(open16[i]->windowTitle(), QString::number(i));
        EXPECT_EQ(shownColour(*open16[i]->theView()), QColor(10 * i, 40, 200));
    }
}

TEST_F(SourceImageWindowTest, AnyFileNameStandsInTheTitleAsItIs) {
    const auto window = open(plain(Qt::red), "a [*] <b>.jpg");
    // Doubled, the sign for "changed" stands for itself.
    EXPECT_EQ(window->windowTitle(), "a [*][*] <b>.jpg");
    EXPECT_EQ(window->windowHandle()->title(), "a [*] <b>.jpg");
}

TEST_F(SourceImageWindowTest, ANullPictureIsAnEmptyWindow) {
    const auto window = open({}, "nothing");
    EXPECT_TRUE(window->isVisible());
    EXPECT_TRUE(window->theView()->image().isNull());
}

}  // namespace lumaweave
