// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/ZoomView.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QMouseEvent>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QWheelEvent>
#include <cmath>
#include <memory>

#include "platform/Threads.h"
#include "support/InProcessWith.h"
#include "support/Pictures.h"
#include "support/Waiting.h"
#include "widgets/ImageView.h"
#include "widgets/ZoomGeometry.h"

namespace lumaweave {

using namespace test;

namespace {

// Every pixel of the picture has a colour that says where it lies (up to 4096 each way).
QColor colourAt(int x, int y) {
    return {x % 256, y % 256, x / 256 * 16 + y / 256};
}
Image mapOfItself(int width, int height) {
    return makeImage(width, height, {}, [](int x, int y, int s) {
        const QColor colour = colourAt(x, y);
        return (s == 0 ? colour.red() : s == 1 ? colour.green() : colour.blue()) / 255.0;
    });
}

int largestDifference(const QColor& a, const QColor& b) {
    return std::max({std::abs(a.red() - b.red()), std::abs(a.green() - b.green()),
                     std::abs(a.blue() - b.blue())});
}

void turnWheel(ZoomView& view, QPointF position, int delta) {
    QWheelEvent event(position, view.viewport()->mapToGlobal(position), {}, {0, delta},
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(view.viewport(), &event);
    EXPECT_TRUE(event.isAccepted());
}

void sendMouse(ZoomView& view, QEvent::Type type, QPointF position,
               Qt::MouseButton button = Qt::LeftButton) {
    const bool held = type == QEvent::MouseButtonPress || type == QEvent::MouseMove;
    QMouseEvent event(type, position, view.viewport()->mapToGlobal(position),
                      type == QEvent::MouseMove ? Qt::NoButton : button,
                      held ? button : Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(view.viewport(), &event);
}

}  // namespace

class ZoomViewTest : public testing::Test {
  protected:
    ZoomViewTest() {
        view->resize(600, 400);
        view->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(view.get()));
    }
    ~ZoomViewTest() override {
        view.reset();
        EXPECT_TRUE(waitForBackgroundTasks());
    }

    void show(const Image& image) {
        view->setImage(image);
        EXPECT_TRUE(waitUntilSharp());
    }
    bool waitUntilSharp() {
        return waitUntil([this] { return view->isSharp(); });
    }
    // What stands on the screen, in device pixels.
    QImage screen() {
        QImage image = view->viewport()->grab().toImage().convertToFormat(QImage::Format_RGB32);
        image.setDevicePixelRatio(1);
        return image;
    }
    QPoint scrolled() const {
        return {view->horizontalScrollBar()->value(), view->verticalScrollBar()->value()};
    }
    QColor ground() const { return ImageView::ground(view->palette()); }
    // Each device pixel shows the pixel of the map that lies there.
    void expectOneToOne() {
        const QImage image = screen();
        const QPoint first = scrolled();
        ASSERT_EQ(view->zoom(), 1);
        for (int y = 0; y < image.height(); y += 3) {
            for (int x = 0; x < image.width(); x += 3) {
                ASSERT_EQ(image.pixelColor(x, y), colourAt(first.x() + x, first.y() + y))
                    << x << ", " << y;
            }
        }
    }

    std::unique_ptr<ZoomView> view = std::make_unique<ZoomView>();
};

TEST_F(ZoomViewTest, WithoutAPictureThereIsOnlyGround) {
    EXPECT_EQ(screen().pixelColor(300, 200), ground());
    turnWheel(*view, {300, 200}, 120);
    sendMouse(*view, QEvent::MouseButtonDblClick, {300, 200});
    view->zoomIn();
    view->zoomOut();
    view->zoomToActualSize();
    view->zoomToFit();
    EXPECT_EQ(screen().pixelColor(300, 200), ground());
    EXPECT_FALSE(view->isSharp());
}

TEST_F(ZoomViewTest, APictureIsFittedIntoTheMiddleAtFirst) {
    show(plainPicture(3000, 1500, Qt::red));
    EXPECT_TRUE(view->isFitted());
    EXPECT_DOUBLE_EQ(view->zoom(), 0.2);
    EXPECT_FALSE(view->horizontalScrollBar()->isVisible());
    EXPECT_FALSE(view->verticalScrollBar()->isVisible());
    const QImage image = screen();
    EXPECT_EQ(image.pixelColor(300, 49), ground());
    EXPECT_EQ(image.pixelColor(300, 350), ground());
    for (const QPoint point : {QPoint(0, 50), QPoint(599, 50), QPoint(0, 349), QPoint(599, 349)})
        EXPECT_EQ(image.pixelColor(point), QColor(Qt::red));
}

TEST_F(ZoomViewTest, TheFittedPictureIsTheMeanOfItsPixels) {
    const Image picture = makeImage(3000, 2000, {}, sceneAt(1));
    show(picture);
    const QImage expected = picture.scaled(600, 400).toScreen();
    const QImage image = screen();
    for (int y = 0; y < 400; y += 5) {
        for (int x = 0; x < 600; x += 5) {
            ASSERT_LE(largestDifference(image.pixelColor(x, y), expected.pixelColor(x, y)), 1);
        }
    }
}

TEST_F(ZoomViewTest, ASmallPictureIsFittedByEnlargingIt) {
    show(plainPicture(60, 20, Qt::red));
    EXPECT_EQ(view->zoom(), 10);
    EXPECT_EQ(screen().pixelColor(599, 200), QColor(Qt::red));
}

TEST_F(ZoomViewTest, AtOneToOneEveryPixelIsOneOfTheScreen) {
    show(mapOfItself(3000, 2000));
    view->zoomToActualSize();
    ASSERT_TRUE(waitUntilSharp());
    expectOneToOne();
    // The middle stays in the middle.
    EXPECT_NEAR(view->imagePointAt(QRectF(view->viewport()->rect()).center()).x(), 1500, 12);
}

TEST_F(ZoomViewTest, AllOfThePictureCanBeScrolledTo) {
    show(mapOfItself(3000, 2000));
    view->zoomToActualSize();
    ASSERT_TRUE(waitUntilSharp());  // by then the scroll bars have taken their room
    const QSize room = view->viewport()->size();
    for (const QPoint corner :
         {QPoint(0, 0), QPoint(3000, 0), QPoint(0, 2000), QPoint(3000, 2000), QPoint(1000, 2000)}) {
        view->horizontalScrollBar()->setValue(corner.x());
        view->verticalScrollBar()->setValue(corner.y());
        EXPECT_EQ(scrolled(), QPoint(std::min(corner.x(), 3000 - room.width()),
                                     std::min(corner.y(), 2000 - room.height())));
        ASSERT_TRUE(waitUntilSharp());
        expectOneToOne();
    }
}

TEST_F(ZoomViewTest, TheWheelZoomsAboutThePointer) {
    show(mapOfItself(3000, 2000));
    view->zoomToActualSize();
    for (const QPointF position : {QPointF(20, 30), QPointF(570, 20), QPointF(301, 377)}) {
        for (const int delta : {120, 120, 120, -120, 240, -120, -120, 30, -30}) {
            const QPointF before = view->imagePointAt(position);
            const double zoom = view->zoom();
            turnWheel(*view, position, delta);
            EXPECT_EQ(view->zoom() > zoom, delta > 0);
            const QPointF after = view->imagePointAt(position);
            // Positions are whole pixels of the screen.
            EXPECT_LE(std::abs(after.x() - before.x()) * view->zoom(), 1);
            EXPECT_LE(std::abs(after.y() - before.y()) * view->zoom(), 1);
        }
    }
}

TEST_F(ZoomViewTest, FourNotchesOfTheWheelDoubleTheSize) {
    show(mapOfItself(3000, 2000));
    view->zoomToActualSize();
    for (int i = 0; i < 4; ++i)
        turnWheel(*view, {100, 100}, 120);
    EXPECT_NEAR(view->zoom(), 2, 1e-9);
    turnWheel(*view, {100, 100}, 480);
    EXPECT_NEAR(view->zoom(), 4, 1e-9);
}

TEST_F(ZoomViewTest, ZoomingOutEndsAtTheWholePictureWhichThenFollowsTheWindow) {
    show(mapOfItself(3000, 2000));
    turnWheel(*view, {100, 100}, 480);
    EXPECT_FALSE(view->isFitted());
    for (int i = 0; i < 9; ++i)
        turnWheel(*view, {100, 100}, -120);
    EXPECT_TRUE(view->isFitted());
    EXPECT_DOUBLE_EQ(view->zoom(), 0.2);
    view->resize(300, 200);
    EXPECT_DOUBLE_EQ(view->zoom(), 0.1);
}

TEST_F(ZoomViewTest, ZoomingInEndsAtTheLargestZoomAndStopsAtOneToOne) {
    show(mapOfItself(3000, 2000));
    bool metOneToOne = false;
    for (int i = 0; i < 60; ++i) {
        turnWheel(*view, {100, 100}, 119);
        metOneToOne = metOneToOne || view->zoom() == 1;
    }
    EXPECT_TRUE(metOneToOne);
    EXPECT_EQ(view->zoom(), largestZoom);
}

TEST_F(ZoomViewTest, DraggingMovesThePicture) {
    show(mapOfItself(3000, 2000));
    view->zoomToActualSize();
    for (const Qt::MouseButton button : {Qt::LeftButton, Qt::MiddleButton}) {
        const QPointF held = view->imagePointAt({300, 200});
        const QPoint before = scrolled();
        sendMouse(*view, QEvent::MouseButtonPress, {300, 200}, button);
        EXPECT_EQ(view->viewport()->cursor().shape(), Qt::ClosedHandCursor);
        sendMouse(*view, QEvent::MouseMove, {280, 170}, button);
        sendMouse(*view, QEvent::MouseMove, {250, 170}, button);
        EXPECT_EQ(view->imagePointAt({250, 170}), held);
        sendMouse(*view, QEvent::MouseButtonRelease, {250, 170}, button);
        EXPECT_EQ(scrolled(), before + QPoint(50, 30));
        EXPECT_EQ(view->viewport()->cursor().shape(), Qt::OpenHandCursor);
        sendMouse(*view, QEvent::MouseMove, {100, 100}, Qt::NoButton);
        EXPECT_EQ(scrolled(), before + QPoint(50, 30)) << "nothing is held any more";
    }
    ASSERT_TRUE(waitUntilSharp());
    expectOneToOne();
}

TEST_F(ZoomViewTest, TheCursorSaysWhetherThePictureCanBeMoved) {
    show(mapOfItself(3000, 2000));
    EXPECT_EQ(view->viewport()->cursor().shape(), Qt::ArrowCursor);
    view->zoomToActualSize();
    EXPECT_EQ(view->viewport()->cursor().shape(), Qt::OpenHandCursor);
    view->zoomToFit();
    EXPECT_EQ(view->viewport()->cursor().shape(), Qt::ArrowCursor);
}

TEST_F(ZoomViewTest, ADoubleClickGoesToOneToOneAtThatSpotAndBack) {
    show(mapOfItself(3000, 2000));
    const QPointF spot(400, 150);
    const QPointF point = view->imagePointAt(spot);
    QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, spot.toPoint());
    EXPECT_EQ(view->zoom(), 1);
    EXPECT_FALSE(view->isFitted());
    EXPECT_LE((view->imagePointAt(spot) - point).manhattanLength(), 2);
    ASSERT_TRUE(waitUntilSharp());
    expectOneToOne();
    QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, spot.toPoint());
    EXPECT_TRUE(view->isFitted());
    turnWheel(*view, spot, 120);
    QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, spot.toPoint());
    EXPECT_TRUE(view->isFitted()) << "from any other size to the whole picture";
}

TEST_F(ZoomViewTest, TheArrowKeysScroll) {
    show(mapOfItself(3000, 2000));
    view->zoomToActualSize();
    const QPoint before = scrolled();
    QTest::keyClick(view.get(), Qt::Key_Right);
    EXPECT_GT(scrolled().x(), before.x());
    QTest::keyClick(view.get(), Qt::Key_Left);
    QTest::keyClick(view.get(), Qt::Key_Down);
    EXPECT_GT(scrolled().y(), before.y());
    QTest::keyClick(view.get(), Qt::Key_Up);
    EXPECT_EQ(scrolled(), before);
}

TEST_F(ZoomViewTest, AResizeKeepsAZoomThatWasChosen) {
    show(mapOfItself(3000, 2000));
    view->zoomToActualSize();
    const QSignalSpy changed(view.get(), &ZoomView::zoomChanged);
    view->resize(700, 500);
    EXPECT_EQ(view->zoom(), 1);
    EXPECT_EQ(changed.count(), 0);
    ASSERT_TRUE(waitUntilSharp());
    expectOneToOne();
}

TEST_F(ZoomViewTest, LittleEnlargedThePictureIsInterpolatedWithoutSeams) {
    const Image picture = makeImage(800, 600, {}, sceneAt(1));
    show(picture);
    view->zoomTo(1.5, {0, 0});
    ASSERT_TRUE(waitUntilSharp());
    const QImage expected = picture.scaled(1200, 900).toScreen();
    const QImage image = screen();
    const QPoint first = scrolled();
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            ASSERT_LE(largestDifference(image.pixelColor(x, y),
                                        expected.pixelColor(first + QPoint(x, y))),
                      1);
        }
    }
}

TEST_F(ZoomViewTest, MuchEnlargedEveryPixelIsAPlainBlock) {
    show(mapOfItself(900, 600));
    view->zoomTo(4, {0, 0});
    view->horizontalScrollBar()->setValue(256 * 4 - 100);  // over the edge of a tile
    view->verticalScrollBar()->setValue(256 * 4 - 50);
    ASSERT_TRUE(waitUntilSharp());
    const QImage image = screen();
    const QPoint first = scrolled();
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            ASSERT_EQ(image.pixelColor(x, y), colourAt((first.x() + x) / 4, (first.y() + y) / 4));
        }
    }
}

TEST_F(ZoomViewTest, PixelsAreMadeReadyInTheBackgroundAndSomethingStandsInForThem) {
    show(plainPicture(3000, 2000, QColor(10, 200, 30)));
    ASSERT_TRUE(waitForBackgroundTasks());
    view->zoomToActualSize();
    EXPECT_FALSE(view->isSharp());
    const QImage image = screen();
    for (const QPoint point : {QPoint(5, 5), QPoint(300, 200), QPoint(580, 380)})
        EXPECT_LE(largestDifference(image.pixelColor(point), QColor(10, 200, 30)), 1);
}

// From the whole picture to the largest zoom at once: what stands in is enlarged far beyond the
// view.
TEST_F(ZoomViewTest, SomethingStandsInAlsoFarEnlarged) {
    show(makeImage(6000, 4000, {1, false, SampleType::uint8},
                   [](int x, int, int) { return x < 3000 ? 0.2 : 0.8; }));
    ASSERT_TRUE(waitForBackgroundTasks());
    view->zoomTo(largestZoom, {300, 200});
    EXPECT_FALSE(view->isSharp());
    for (int i = 0; i < 2; ++i) {
        const QImage image = screen();
        EXPECT_EQ(image.pixelColor(50, 200), QColor(51, 51, 51));
        EXPECT_EQ(image.pixelColor(550, 200), QColor(204, 204, 204));
        ASSERT_TRUE(waitUntilSharp());
    }
}

// The view holds only about as many of 24 megapixels as it shows.
TEST_F(ZoomViewTest, ALargePictureIsNeverHeldWhole) {
    show(plainPicture(6000, 4000, Qt::blue, {1, false, SampleType::uint8}));
    view->zoomToActualSize();
    for (int x = 0; x < 6000; x += 1000) {
        for (int y = 0; y < 4000; y += 800) {
            view->horizontalScrollBar()->setValue(x);
            view->verticalScrollBar()->setValue(y);
            ASSERT_TRUE(waitUntilSharp());
            // A view of 4 x 3 tiles at most, three tiles around it, an overview.
            EXPECT_LT(view->heldPixels(), (10 * 9 + 4 * 3) * 256 * 256 + 1024 * 1024);
        }
    }
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_LT(view->heldPixels(), 10'000'000);
}

TEST_F(ZoomViewTest, ANewPictureReplacesOneThatIsStillBeingMadeReady) {
    view->setImage(plainPicture(3000, 2000, Qt::red));
    view->setImage(plainPicture(3000, 2000, Qt::green));
    ASSERT_TRUE(waitUntilSharp());
    EXPECT_EQ(screen().pixelColor(300, 200), QColor(Qt::green));
    view->setImage({});
    EXPECT_TRUE(view->image().isNull());
    EXPECT_EQ(view->heldPixels(), 0);
    EXPECT_EQ(screen().pixelColor(300, 200), ground());
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_EQ(view->heldPixels(), 0);
}

TEST_F(ZoomViewTest, TheViewMayGoWhileItsPixelsAreBeingMadeReady) {
    view->setImage(mapOfItself(3000, 2000));
    view->zoomToActualSize();
    view.reset();
    EXPECT_TRUE(waitForBackgroundTasks());
}

TEST_F(ZoomViewTest, OddPicturesAreShownAtEveryZoom) {
    for (const QSize size : {QSize(1, 1), QSize(4000, 1), QSize(1, 3000), QSize(257, 256)}) {
        show(plainPicture(size.width(), size.height(), Qt::red));
        for (int i = 0; i < 24; ++i) {
            view->zoomIn();
            if (i % 6 == 0) {
                ASSERT_TRUE(waitUntilSharp());
                const QImage image = screen();
                EXPECT_EQ(image.pixelColor(image.rect().center()), QColor(Qt::red));
            }
        }
        for (int i = 0; i < 48; ++i)
            view->zoomOut();
        ASSERT_TRUE(waitUntilSharp());
    }
}

TEST_F(ZoomViewTest, TransparencyShowsTheGround) {
    show(makeImage(900, 600, {3, true, SampleType::uint16},
                   [](int x, int, int s) { return s == 3 ? (x < 450 ? 0.0 : 1.0) : 0.25; }));
    const QImage image = screen();
    EXPECT_EQ(image.pixelColor(100, 200), ground());
    EXPECT_EQ(image.pixelColor(500, 200), QColor(64, 64, 64));
}

TEST_F(ZoomViewTest, ADeepPictureIsShownInTheSameColours) {
    for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
        show(plainPicture(900, 600, QColor(200, 120, 60), {3, false, type}));
        EXPECT_LE(largestDifference(screen().pixelColor(300, 200), QColor(200, 120, 60)), 1);
        view->zoomToActualSize();
        ASSERT_TRUE(waitUntilSharp());
        EXPECT_LE(largestDifference(screen().pixelColor(300, 200), QColor(200, 120, 60)), 1);
    }
}

// The test starts itself once for each factor, because a program has but one.
TEST_F(ZoomViewTest, OneToOneIsOnePixelOnOneDevicePixelAtEveryScaleFactor) {
    constexpr auto variable = "QT_SCALE_FACTOR";
    if (!qEnvironmentVariableIsSet(variable)) {
        for (const char* factor : {"1.25", "1.5", "2", "3"})
            EXPECT_FALSE(inProcessWith(variable, factor));
        return;
    }
    const double factor = qEnvironmentVariable(variable).toDouble();
    ASSERT_DOUBLE_EQ(view->devicePixelRatioF(), factor);
    view->resize(301, 203);
    show(mapOfItself(3000, 2000));
    EXPECT_NEAR(view->zoom() * 3000, 301 * factor, 1.01);
    view->zoomToActualSize();
    ASSERT_TRUE(waitUntilSharp());
    expectOneToOne();
    turnWheel(*view, {100, 100}, 120);
    const QPointF point = view->imagePointAt({100, 100});
    turnWheel(*view, {100, 100}, 120);
    EXPECT_LE((view->imagePointAt({100, 100}) - point).manhattanLength() * view->zoom(), 2);
}

}  // namespace lumaweave
