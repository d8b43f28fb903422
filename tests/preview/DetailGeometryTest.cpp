// SPDX-License-Identifier: GPL-3.0-or-later
#include "preview/DetailGeometry.h"

#include <gtest/gtest.h>

#include <cmath>

namespace lumaweave {

namespace {

const StackGeometry landscape = {3000.0F, 2000.0F, 1.5F};

}  // namespace

TEST(DetailGeometry, AClickInTheMiddleIsTheMiddleOfTheImage) {
    EXPECT_EQ(imageCoordinates({300, 200}, {0, 0}, {600, 400}, landscape), QPointF(1500, 1000));
    EXPECT_EQ(imageCoordinates({310, 230}, {10, 30}, {600, 400}, landscape), QPointF(1500, 1000));
}

TEST(DetailGeometry, AWiderViewLeavesMarginsLeftAndRight) {
    // 400 high, so 600 wide, in 800: 100 on either side.
    EXPECT_EQ(imageCoordinates({100, 0}, {0, 0}, {800, 400}, landscape), QPointF(0, 0));
    const QPointF margin = imageCoordinates({50, 200}, {0, 0}, {800, 400}, landscape);
    EXPECT_EQ(margin, QPointF(-250, 1000));
    EXPECT_TRUE(isOutsideImage(margin, landscape));
}

TEST(DetailGeometry, ATallerViewLeavesMarginsAboveAndBelow) {
    EXPECT_EQ(imageCoordinates({0, 100}, {0, 0}, {600, 600}, landscape), QPointF(0, 0));
    EXPECT_EQ(imageCoordinates({600, 500}, {0, 0}, {600, 600}, landscape), QPointF(3000, 2000));
}

TEST(DetailGeometry, AnEqualRatioFillsTheWidth) {
    // 2/3 has no exact form: rounded to single precision the two ratios are equal, and the branch
    // that fills the width computes the height from it, with whatever offset rounding leaves.
    const StackGeometry stack = {2000.0F, 3000.0F, 2000.0F / 3000.0F};
    const float drawnHeight = 200.0F / stack.aspectRatio;
    const auto offset = static_cast<float>((300.0 - static_cast<double>(drawnHeight)) * 0.5);
    const QPointF coordinates = imageCoordinates({100, 33}, {0, 0}, {200, 300}, stack);
    EXPECT_EQ(coordinates.x(), 1000.0);
    EXPECT_EQ(coordinates.y(),
              3000.0 * ((33.0 - static_cast<double>(offset)) / static_cast<double>(drawnHeight)));
}

TEST(DetailGeometry, DrawnSizesAreRoundedToSinglePrecision) {
    const StackGeometry stack = {3000.0F, 2000.0F, 1.4999F};
    const float drawnWidth = 1.4999F * 401.0F;
    const auto offset = static_cast<float>((1000.0 - static_cast<double>(drawnWidth)) * 0.5);
    EXPECT_EQ(imageCoordinates({500, 100}, {0, 0}, {1000, 401}, stack).x(),
              3000.0 * ((500.0 - static_cast<double>(offset)) / static_cast<double>(drawnWidth)));
}

TEST(DetailGeometry, TheLeftAndBottomEdgesBelongToTheImage) {
    EXPECT_FALSE(isOutsideImage({0, 0}, landscape));
    EXPECT_FALSE(isOutsideImage({2999.999, 1999.999}, landscape));
}

TEST(DetailGeometry, TheRightAndTopEdgesDoNot) {
    EXPECT_TRUE(isOutsideImage({3000, 1000}, landscape));
    EXPECT_TRUE(isOutsideImage({1000, 2000}, landscape));
    EXPECT_TRUE(isOutsideImage({-0.001, 1000}, landscape));
    EXPECT_TRUE(isOutsideImage({1000, -0.001}, landscape));
}

TEST(DetailGeometry, AViewWithoutASizeGivesNoNumbersAndIsNotOutside) {
    const QPointF coordinates = imageCoordinates({0, 0}, {0, 0}, {0, 0}, landscape);
    EXPECT_TRUE(std::isnan(coordinates.x()));
    EXPECT_FALSE(isOutsideImage(coordinates, landscape));
}

TEST(DetailGeometry, TheCropIsCentred) {
    EXPECT_EQ(cropRectangle({100, 50}, {30, 20}), QRectF(85, 40, 30, 20));
}

TEST(DetailGeometry, FlippingTwiceChangesNothing) {
    const QRectF crop(85, 40, 30, 20);
    EXPECT_EQ(flipped(crop, 400), QRectF(85, 340, 30, 20));
    EXPECT_EQ(flipped(flipped(crop, 400), 400), crop);
    EXPECT_EQ(flipped(QPointF(3, 10), 400), QPointF(3, 390));
}

}  // namespace lumaweave
