// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/ImageView.h"

#include <gmock/gmock.h>

#include <QMouseEvent>
#include <QSignalSpy>
#include <QTest>
#include <set>
#include <string>

namespace lumaweave {

namespace {

using Fit = ImageView::Fit;

const QColor red(200, 30, 20);

QImage plainImage(int width, int height, const QColor& colour = red) {
    QImage image(width, height, QImage::Format_RGBA8888);
    image.fill(colour);
    return image;
}

// What the view shows, at one device pixel a point.
QImage painted(ImageView& view) {
    QImage image(view.size(), QImage::Format_RGB32);
    view.render(&image);
    return image;
}

// Takes the mouse where the view passes it on.
class MouseTaker : public QWidget {
  public:
    int presses = 0;

  protected:
    void mousePressEvent(QMouseEvent*) override { ++presses; }
};

class ImageViewTest : public testing::Test {
  protected:
    ImageViewTest() { view.resize(200, 100); }

    ImageView view;
};

}  // namespace

TEST(FittedRectangle, APictureOfTheSameShapeFillsTheView) {
    const QRectF whole(0, 0, 200, 100);
    EXPECT_EQ(ImageView::fittedRectangle({200, 100}, {200, 100}, Fit::fill), whole);
    EXPECT_EQ(ImageView::fittedRectangle({4000, 2000}, {200, 100}, Fit::fill), whole);
    EXPECT_EQ(ImageView::fittedRectangle({20, 10}, {200, 100}, Fit::fill), whole);
}

TEST(FittedRectangle, AWidePictureHasBarsAboveAndBelow) {
    EXPECT_EQ(ImageView::fittedRectangle({400, 100}, {200, 100}, Fit::fill),
              QRectF(0, 25, 200, 50));
}

TEST(FittedRectangle, ATallPictureHasBarsAtItsSides) {
    EXPECT_EQ(ImageView::fittedRectangle({50, 100}, {200, 100}, Fit::fill), QRectF(75, 0, 50, 100));
    EXPECT_EQ(ImageView::fittedRectangle({500, 1000}, {200, 100}, Fit::fill),
              QRectF(75, 0, 50, 100));
}

TEST(FittedRectangle, ShrinkingNeverEnlarges) {
    EXPECT_EQ(ImageView::fittedRectangle({20, 10}, {200, 100}, Fit::shrink),
              QRectF(90, 45, 20, 10));
    EXPECT_EQ(ImageView::fittedRectangle({400, 100}, {200, 100}, Fit::shrink),
              QRectF(0, 25, 200, 50));
    EXPECT_EQ(ImageView::fittedRectangle({200, 100}, {200, 100}, Fit::shrink),
              QRectF(0, 0, 200, 100));
}

TEST(FittedRectangle, OfNothingIsEmpty) {
    EXPECT_TRUE(ImageView::fittedRectangle({0, 0}, {200, 100}, Fit::fill).isEmpty());
    EXPECT_TRUE(ImageView::fittedRectangle({20, 0}, {200, 100}, Fit::shrink).isEmpty());
    EXPECT_TRUE(ImageView::fittedRectangle({20, 10}, {0, 0}, Fit::fill).isEmpty());
}

TEST_F(ImageViewTest, ThePictureIsPaintedInTheMiddle) {
    view.setImage(plainImage(50, 50));
    const QImage screen = painted(view);
    EXPECT_EQ(screen.pixelColor(100, 50), red);
    EXPECT_EQ(screen.pixelColor(51, 1), red);
    EXPECT_EQ(screen.pixelColor(148, 98), red);
    const QColor ground = screen.pixelColor(2, 50);
    EXPECT_NE(ground, red);
    EXPECT_EQ(screen.pixelColor(48, 1), ground);
    EXPECT_EQ(screen.pixelColor(152, 98), ground);
    EXPECT_EQ(screen.pixelColor(197, 50), ground);
}

TEST_F(ImageViewTest, TheGroundHasNoTintInLightAndDarkThemes) {
    view.setImage(plainImage(10, 100));
    std::set<int> lightnesses;
    for (const QColor& window : {QColor(240, 240, 255), QColor(20, 20, 40)}) {
        QPalette palette;
        palette.setColor(QPalette::Window, window);
        view.setPalette(palette);
        const QColor ground = painted(view).pixelColor(2, 2);
        EXPECT_EQ(ground.red(), ground.green());
        EXPECT_EQ(ground.red(), ground.blue());
        lightnesses.insert(ground.red());
    }
    EXPECT_EQ(lightnesses.size(), 2U);
}

TEST_F(ImageViewTest, ASmallPictureIsEnlargedOrNotAsAsked) {
    view.setImage(plainImage(20, 10));
    EXPECT_EQ(painted(view).pixelColor(10, 50), red);
    view.setFit(Fit::shrink);
    EXPECT_NE(painted(view).pixelColor(10, 50), red);
    EXPECT_EQ(painted(view).pixelColor(100, 50), red);
    view.setFit(Fit::fill);
    EXPECT_EQ(painted(view).pixelColor(10, 50), red);
}

TEST_F(ImageViewTest, APictureOfTheViewsOwnSizeIsDrawnPixelByPixel) {
    // Lines one pixel wide would blur at the least resampling. 199 x 100 lies between two pixels.
    for (const QSize size : {QSize(200, 100), QSize(199, 100), QSize(200, 99)}) {
        QImage image = plainImage(size.width(), size.height(), Qt::black);
        for (int y = 0; y < image.height(); ++y) {
            for (int x = y % 2; x < image.width(); x += 2)
                image.setPixelColor(x, y, Qt::white);
        }
        view.setImage(image);
        const QImage screen = painted(view);
        // The picture may begin a pixel further in.
        bool found = false;
        for (int left = 0; left <= 200 - size.width(); ++left) {
            for (int top = 0; top <= 100 - size.height(); ++top) {
                const QImage part = screen.copy(QRect(QPoint(left, top), size));
                found = found || part == image.convertToFormat(QImage::Format_RGB32);
            }
        }
        EXPECT_TRUE(found) << size.width() << " x " << size.height();
    }
}

TEST_F(ImageViewTest, WithoutAPictureThePlaceholderIsPainted) {
    const QImage empty = painted(view);
    const QColor ground = empty.pixelColor(0, 0);
    EXPECT_EQ(empty, [&] {
        QImage plain(view.size(), QImage::Format_RGB32);
        plain.fill(ground);
        return plain;
    }());
    view.setPlaceholder("Drop shots here");
    EXPECT_NE(painted(view), empty);
    view.setImage(plainImage(200, 100));
    EXPECT_EQ(painted(view), plainImage(200, 100).convertToFormat(QImage::Format_RGB32));
    view.setImage({});
    EXPECT_TRUE(view.image().isNull());
    EXPECT_NE(painted(view), empty);
    view.setPlaceholder({});
    EXPECT_EQ(painted(view), empty);
}

TEST_F(ImageViewTest, TransparentPicturesShowTheGround) {
    const QColor ground = painted(view).pixelColor(0, 0);
    view.setImage(plainImage(200, 100, Qt::transparent));
    EXPECT_EQ(painted(view).pixelColor(100, 50), ground);
}

TEST_F(ImageViewTest, TheMouseGoesToTheParent) {
    MouseTaker parent;
    parent.resize(300, 200);
    auto* child = new ImageView(&parent);
    child->setGeometry(50, 50, 200, 100);
    child->setImage(plainImage(200, 100));
    parent.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&parent));
    QTest::mouseClick(child, Qt::LeftButton, Qt::NoModifier, QPoint(100, 50));
    EXPECT_EQ(parent.presses, 1);
}

TEST_F(ImageViewTest, AResizeIsTold) {
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    const QSignalSpy resized(&view, &ImageView::resized);
    view.resize(320, 240);
    EXPECT_TRUE(QTest::qWaitFor([&] { return resized.count() > 0; }));
}

}  // namespace lumaweave
