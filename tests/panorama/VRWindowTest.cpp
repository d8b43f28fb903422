// SPDX-License-Identifier: GPL-3.0-or-later
#include "panorama/VRWindow.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <QApplication>
#include <QKeySequence>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QPointer>
#include <QProgressDialog>
#include <QScreen>
#include <QTest>
#include <QThread>
#include <algorithm>
#include <fstream>
#include <functional>
#include <new>

#include "PanoramaSupport.h"
#include "imaging/decoding/ImageDecoder.h"
#include "panorama/MyOpenGLView.h"
#include "panorama/Sections.h"
#include "platform/Memory.h"
#include "support/AlertAnswerer.h"
#include "support/InProcessWith.h"
#include "support/LogRecorder.h"
#include "support/Pictures.h"
#include "support/PrivateMemory.h"
#include "support/ShownWindow.h"
#include "support/TestFolder.h"
#include "support/Waiting.h"
#include "support/WindowsFixture.h"

namespace lumaweave {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

class VRWindowTest : public testing::Test {
  protected:
    PresentedAlerts presented;
    LogRecorder log;
    AlertAnswerer alerts;
};

// A limit on this process's addresses, so many bytes above what it has now.
class AddressLimit {
  public:
    explicit AddressLimit(std::uint64_t room) {
        getrlimit(RLIMIT_AS, &before_);
        std::ifstream stream("/proc/self/statm");
        std::uint64_t pages = 0;
        stream >> pages;
        rlimit limit = before_;
        limit.rlim_cur = pages * 4096 + room;
        setrlimit(RLIMIT_AS, &limit);
    }
    ~AddressLimit() { setrlimit(RLIMIT_AS, &before_); }
    AddressLimit(const AddressLimit&) = delete;
    AddressLimit& operator=(const AddressLimit&) = delete;

  private:
    rlimit before_ = {};
};

// The share of a frame's pixels that are neither the ground's green nor white.
double picturedShare(const QImage& frame) {
    int pictured = 0;
    for (int y = 0; y < frame.height(); ++y) {
        for (int x = 0; x < frame.width(); ++x) {
            const QRgb pixel = frame.pixel(x, y) | 0xFF000000U;
            pictured += pixel != qRgb(0, 255, 0) && pixel != qRgb(255, 255, 255) ? 1 : 0;
        }
    }
    return static_cast<double>(pictured) / (frame.width() * frame.height());
}

}  // namespace

TEST_F(VRWindowTest, OpensCentredLogsAndTakesThePictureIn) {
    const OpenViewer viewer(numberedPicture(640, 320), {1024, 640});
    EXPECT_THAT(log.lines(), ElementsAre("MyOpenGLView : awakeFromNib", "VRWindow loaded from NIB",
                                         "Create buffer & image rep", "Draw image to buffer"));
    EXPECT_TRUE(viewer.window().isVisible());
    EXPECT_TRUE(viewer.view().readyToDraw());
    const QPoint off = viewer.window().geometry().center() -
                       viewer.window().screen()->availableGeometry().center();
    EXPECT_LE(std::abs(off.x()), 2);
    EXPECT_LE(std::abs(off.y()), 2);
    EXPECT_EQ(viewer.view().size(), viewer.window().size());
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(VRWindowTest, TheTitleNamesThePicture) {
    const OpenViewer viewer(numberedPicture(64, 32));
    EXPECT_EQ(viewer.window().windowTitle(), "Panorama");
    viewer.window().setPictureName("room.jpg");
    EXPECT_EQ(viewer.window().windowTitle(), "room.jpg – Panorama");
}

TEST_F(VRWindowTest, KeepsItselfAliveUntilItIsClosed) {
    const QPointer<VRWindow> window = VRWindow::initWithImage(numberedPicture(64, 32));
    ASSERT_FALSE(window.isNull());
    QCoreApplication::processEvents();
    EXPECT_FALSE(window.isNull());
    window->close();
    EXPECT_TRUE(waitUntilGone(window));
    EXPECT_EQ(allWindows<VRWindow>().size(), 0);
}

TEST_F(VRWindowTest, ControlWAndEscapeCloseIt) {
    const std::pair<Qt::Key, Qt::KeyboardModifier> keys[] = {{Qt::Key_W, Qt::ControlModifier},
                                                             {Qt::Key_Escape, Qt::NoModifier}};
    for (const auto& [key, modifier] : keys) {
        const QPointer<VRWindow> window = VRWindow::initWithImage(numberedPicture(64, 32));
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window));
        QTest::keyClick(window->theGLView(), key, modifier);
        EXPECT_TRUE(waitUntilGone(window));
    }
}

TEST_F(VRWindowTest, EveryViewerHasItsOwnContextAndItsOwnView) {
    const OpenViewer first(numberedPicture(640, 320));
    const OpenViewer second(numberedPicture(320, 160), {500, 300});
    const OpenViewer third(numberedPicture(640, 320));
    EXPECT_EQ(allWindows<VRWindow>().size(), 3);
    EXPECT_NE(first.view().context(), second.view().context());
    EXPECT_NE(first.view().context(), third.view().context());
    dragMouse(second.view(), {{50, 20}});
    EXPECT_EQ(second.view().cubeRotY(), 20.0F);
    EXPECT_EQ(first.view().cubeRotY(), 0.0F);
    EXPECT_EQ(first.view().grabFramebuffer(), third.view().grabFramebuffer());
    EXPECT_EQ(second.view().textureWidth(), 40);
    EXPECT_EQ(first.view().textureWidth(), 80);
}

// A context that shares the viewer's textures and outlives it asks for the names.
TEST_F(VRWindowTest, TexturesAreDeletedWhenAViewerGoes) {
    auto viewer = std::make_unique<OpenViewer>(numberedPicture(64, 32));
    QOpenGLContext watching;
    watching.setFormat(panoramaFormat());
    watching.setShareContext(viewer->view().context());
    ASSERT_TRUE(watching.create());
    QOffscreenSurface surface;
    surface.setFormat(watching.format());
    surface.create();
    ASSERT_TRUE(watching.makeCurrent(&surface));
    const auto names = viewer->view().textureNames();
    const auto alive = [&names] {
        return std::count_if(names.begin(), names.end(),
                             [](unsigned int name) { return glIsTexture(name) == GL_TRUE; });
    };
    EXPECT_EQ(alive(), 32);
    viewer.reset();
    ASSERT_TRUE(watching.makeCurrent(&surface));
    EXPECT_EQ(alive(), 0);
    watching.doneCurrent();
}

TEST_F(VRWindowTest, MemoryComesBackWhenViewersGo) {
    const auto resident = [] {
        std::ifstream stream("/proc/self/statm");
        std::uint64_t whole = 0;
        std::uint64_t pages = 0;
        stream >> whole >> pages;
        return pages * 4096;
    };
    const Image picture = numberedPicture(4096, 2048);
    { const OpenViewer first(picture); }
    const std::uint64_t before = resident();
    for (int i = 0; i < 6; ++i)
        const OpenViewer viewer(picture);
    // Each takes 33 MB and more; what is left is the graphics library's own.
    EXPECT_LT(resident(), before + 66'000'000);
}

TEST_F(VRWindowTest, PicturesOfOtherShapesAreShown) {
    for (const QSize size : {QSize(640, 640), QSize(100, 900), QSize(3000, 60)}) {
        const OpenViewer viewer(numberedPicture(size.width(), size.height()), {400, 300});
        EXPECT_GT(picturedShare(viewer.view().grabFramebuffer()), 0.99) << size.width();
    }
}

TEST_F(VRWindowTest, PicturesOf16BitsAndOfFloatsAreShownAsThoseOf8Bits) {
    const SampleFunction scene = sceneAt(1.0);
    QImage reference;
    for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
        const OpenViewer viewer(makeImage(640, 320, {3, false, type}, scene), {400, 300});
        const QImage frame = viewer.view().grabFramebuffer();
        EXPECT_GT(picturedShare(frame), 0.99);
        if (reference.isNull()) reference = frame;
        int largest = 0;
        for (int y = 0; y < frame.height(); ++y) {
            for (int x = 0; x < frame.width(); ++x) {
                largest = std::max(
                    largest, std::abs(qGreen(frame.pixel(x, y)) - qGreen(reference.pixel(x, y))));
            }
        }
        EXPECT_LE(largest, 1);  // rounding
    }
}

TEST_F(VRWindowTest, GreyPicturesAreShownGrey) {
    const OpenViewer viewer(makeImage(640, 320, {1, false, SampleType::uint16}, sceneAt(1.0)),
                            {400, 300});
    const QImage frame = viewer.view().grabFramebuffer();
    for (int x = 0; x < frame.width(); ++x) {
        EXPECT_EQ(qRed(frame.pixel(x, 100)), qGreen(frame.pixel(x, 100)));
        EXPECT_EQ(qRed(frame.pixel(x, 100)), qBlue(frame.pixel(x, 100)));
    }
    EXPECT_GT(picturedShare(frame), 0.99);
}

TEST_F(VRWindowTest, TinyPicturesOpenWithoutACrash) {
    const OpenViewer viewer(numberedPicture(5, 2), {400, 300});
    EXPECT_TRUE(viewer.view().readyToDraw());
    EXPECT_FALSE(viewer.view().grabFramebuffer().isNull());
    dragMouse(viewer.view(), {{30, 30}});
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(VRWindowTest, APictureLargerThanMemoryAllowsIsRefused) {
    const Image picture = numberedPicture(8192, 4096);
    ASSERT_GT(availableMemory(), panoramaMemory(8192, 4096)) << "this machine has too little";
    ASSERT_TRUE(panoramaGraphics().has_value());
    {
        const AddressLimit limit(200'000'000);
        EXPECT_LE(availableMemory(), 200'000'000U);
        EXPECT_EQ(VRWindow::initWithImage(picture), nullptr);
    }
    ASSERT_EQ(alerts.texts().size(), 1U);
    EXPECT_THAT(alerts.texts().front(),
                StartsWith("There is not enough memory to show this image as a panorama: it takes "
                           "273 MB, and "));
    EXPECT_EQ(allWindows<VRWindow>().size(), 0);
    // The next one that fits opens.
    const OpenViewer viewer(numberedPicture(640, 320), {400, 300});
    EXPECT_GT(picturedShare(viewer.view().grabFramebuffer()), 0.99);
}

namespace {

// Slows down the work on the next window's textures, and sees what shows meanwhile.
class SlowTextures {
  public:
    std::function<void()> whileWorking;
    int progressDialogs = 0;

  private:
    AtShowing<VRWindow> windows_{[this](VRWindow& window) {
        QObject::connect(window.theGLView(), &MyOpenGLView::texturesProgressed, &windows_, [this] {
            QThread::msleep(50);
            if (whileWorking) whileWorking();
        });
    }};
    AtShowing<QProgressDialog> dialogs_{[this](QProgressDialog&) { ++progressDialogs; }};
};

}  // namespace

TEST_F(VRWindowTest, OpeningThatTakesLongShowsProgress) {
    SlowTextures slow;
    const OpenViewer viewer(numberedPicture(640, 320), {400, 300});
    EXPECT_EQ(slow.progressDialogs, 1);
    EXPECT_TRUE(viewer.view().readyToDraw());
    EXPECT_THAT(shownWindows<QProgressDialog>(), IsEmpty());
}

TEST_F(VRWindowTest, NothingIsClosedBeforeThePictureIsTakenIn) {
    SlowTextures slow;
    slow.whileWorking = [] {
        for (QWidget* window : QApplication::topLevelWidgets()) {
            const bool concerned = qobject_cast<VRWindow*>(window) != nullptr ||
                                   qobject_cast<QProgressDialog*>(window) != nullptr;
            if (!concerned || !window->isVisible()) continue;
            QTest::keyClick(window, Qt::Key_Escape);
            QTest::keyClick(window, Qt::Key_W, Qt::ControlModifier);
            window->close();
            EXPECT_TRUE(window->isVisible());
        }
    };
    const OpenViewer viewer(numberedPicture(640, 320), {400, 300});
    EXPECT_EQ(slow.progressDialogs, 1);
    EXPECT_TRUE(viewer.view().readyToDraw());
    EXPECT_GT(picturedShare(viewer.view().grabFramebuffer()), 0.99);
}

TEST_F(VRWindowTest, MemoryThatRunsOutOnTheWayIsNoCrash) {
    if (sanitized) GTEST_SKIP() << "the sanitizer ends the process where an allocation fails";
    const auto view = shownView();
    const Image picture = numberedPicture(8192, 4096);
    const AddressLimit limit(50'000'000);
    EXPECT_THROW(view->createTextures(picture), std::bad_alloc);
    EXPECT_FALSE(view->readyToDraw());
}

TEST_F(VRWindowTest, APictureWithSectionsLongerThanTheGraphicsTakeIsRefused) {
    const auto graphics = panoramaGraphics();
    ASSERT_TRUE(graphics.has_value());
    const int longest = graphics->longestTextureSide;
    EXPECT_EQ(VRWindow::initWithImage(numberedPicture(8 * (longest + 1), 4)), nullptr);
    ASSERT_EQ(alerts.texts().size(), 1U);
    EXPECT_THAT(alerts.texts().front(), StartsWith("This image is too long to be shown"));
    EXPECT_THAT(alerts.texts().front(), HasSubstr(std::to_string(8 * longest) + " x "));
}

TEST_F(VRWindowTest, WithoutOpenGLThereIsAnAlertAndNoWindow) {
    if (!inProcessWith("QT_XCB_GL_INTEGRATION", "none")) return;
    EXPECT_FALSE(panoramaGraphics().has_value());
    EXPECT_EQ(VRWindow::initWithImage(numberedPicture(64, 32)), nullptr);
    EXPECT_THAT(
        alerts.texts(),
        ElementsAre("A panorama cannot be shown here: it needs OpenGL, and this display has "
                    "none.  Everything else works without it."));
    EXPECT_EQ(allWindows<VRWindow>().size(), 0);
}

// A viewer is no reason to go on without the main window.
TEST_F(VRWindowTest, AnOpenViewerDoesNotKeepTheProgramRunning) {
    const OpenViewer viewer(numberedPicture(64, 32));
    EXPECT_FALSE(viewer.window().testAttribute(Qt::WA_QuitOnClose));
}

TEST_F(VRWindowTest, ThePicturesOfFilesAreShownInScreenColours) {
    const TestFolder folder;
    saveImage(makeImage(640, 320, {3, true, SampleType::uint16}, sceneAt(1.0)), folder / "a.tif");
    const OpenViewer viewer(decodeImage(folder / "a.tif"), {400, 300});
    EXPECT_GT(picturedShare(viewer.view().grabFramebuffer()), 0.99);
}

}  // namespace lumaweave
