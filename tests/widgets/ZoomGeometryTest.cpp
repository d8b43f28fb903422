// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/ZoomGeometry.h"

#include <gtest/gtest.h>

#include <random>

namespace lumaweave {

TEST(ZoomGeometry, TheFittingZoomShowsAllOfThePictureAndNoMore) {
    EXPECT_EQ(fittingZoom({6000, 4000}, {600, 400}), 0.1);
    EXPECT_EQ(fittingZoom({6000, 4000}, {600, 900}), 0.1);
    EXPECT_EQ(fittingZoom({4000, 6000}, {600, 600}), 0.1);
    EXPECT_EQ(fittingZoom({30, 20}, {600, 900}), 20);
    EXPECT_EQ(fittingZoom({}, {600, 900}), 1);
    EXPECT_EQ(fittingZoom({30, 20}, {}), 1);
}

TEST(ZoomGeometry, StepsStopAtOneToOne) {
    EXPECT_EQ(steppedZoom(0.9, 1.2, 0.1), 1);
    EXPECT_EQ(steppedZoom(1.1, 0.5, 0.1), 1);
    EXPECT_EQ(steppedZoom(1, 1.2, 0.1), 1.2);
    EXPECT_EQ(steppedZoom(1, 0.5, 0.1), 0.5);
}

TEST(ZoomGeometry, StepsStayBetweenTheWholePictureAndTheLargestZoom) {
    EXPECT_EQ(steppedZoom(0.15, 0.5, 0.1), 0.1);
    EXPECT_EQ(steppedZoom(20, 2, 0.1), largestZoom);
    // A small picture shrinks to its own size, a tiny one grows to what fits.
    EXPECT_EQ(steppedZoom(2, 0.6, 5), 1.2);
    EXPECT_EQ(steppedZoom(1, 0.5, 5), 1);
    EXPECT_EQ(steppedZoom(90, 2, 100), 100);
}

TEST(ZoomGeometry, AZoomedPictureHasAtLeastOnePixel) {
    EXPECT_EQ(zoomedSize({6000, 4000}, 0.25), QSize(1500, 1000));
    EXPECT_EQ(zoomedSize({6000, 2}, 0.01), QSize(60, 1));
}

TEST(ZoomGeometry, ASmallPictureLiesInTheMiddleALargeOneWhereItIsScrolledTo) {
    EXPECT_EQ(pictureOrigin({200, 100}, {600, 400}, {0, 0}), QPoint(200, 150));
    EXPECT_EQ(pictureOrigin({900, 700}, {600, 400}, {17, 300}), QPoint(-17, -300));
    EXPECT_EQ(pictureOrigin({900, 100}, {600, 400}, {17, 0}), QPoint(-17, 150));
}

TEST(ZoomGeometry, PointsAndPositionsAreInverse) {
    std::mt19937 random(3);
    const auto below = [&random](unsigned end) { return static_cast<int>(random() % end); };
    const QSize picture(6001, 3999);
    for (int i = 0; i < 200; ++i) {
        const QSize zoomed = zoomedSize(picture, (1 + below(3000)) / 100.0);
        const QPoint origin(below(900) - 800, below(900) - 800);
        const QPointF position(below(1900), below(1200));
        const QPointF point = picturePoint(position, origin, zoomed, picture);
        const QPointF back = viewPosition(point, origin, zoomed, picture);
        EXPECT_NEAR(back.x(), position.x(), 1e-6);
        EXPECT_NEAR(back.y(), position.y(), 1e-6);
    }
}

TEST(ZoomGeometry, ScrollingBringsAPointToItsPosition) {
    const QSize picture(6001, 3999);
    const QSize zoomed = zoomedSize(picture, 1.7);
    const QPointF point(4000.3, 2000.8);
    const QPointF position(333, 222);
    const QPoint scrolled = scrolledFor(point, position, zoomed, picture);
    const QPointF there = viewPosition(point, -scrolled, zoomed, picture);
    EXPECT_NEAR(there.x(), position.x(), 0.5);
    EXPECT_NEAR(there.y(), position.y(), 0.5);
}

}  // namespace lumaweave
