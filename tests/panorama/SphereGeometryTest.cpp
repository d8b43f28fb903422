// SPDX-License-Identifier: GPL-3.0-or-later
#include "panorama/SphereGeometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <set>

#include "panorama/MyOpenGLView.h"
#include "stack/SharedState.h"

namespace lumaweave {

namespace {

constexpr long double quarterOfPi = std::numbers::pi_v<long double> / 4;

// Half the distance to the next double: nothing lies nearer to the product than the nearest double.
void expectNearestDouble(double value, int multiple) {
    const long double exact = multiple * quarterOfPi;
    const double next = std::nextafter(value, std::numeric_limits<double>::infinity());
    const long double half = (static_cast<long double>(next) - static_cast<long double>(value)) / 2;
    EXPECT_LE(std::abs(static_cast<long double>(value) - exact), half) << multiple << " x pi/4";
}

std::vector<TriangleStrip> strips(int k, double resolution = 12, int width = 500,
                                  int height = 500) {
    return sliceStrips(sliceTable.at(static_cast<std::size_t>(k)), resolution, width, height);
}

}  // namespace

TEST(SphereGeometry, EveryTableValueIsTheDoubleNearestToItsProduct) {
    for (int k = 0; k < sectionCount; ++k) {
        const SliceAngles& slice = sliceTable.at(static_cast<std::size_t>(k));
        expectNearestDouble(slice.theta1, k % 8);
        expectNearestDouble(slice.theta2, k % 8 + 1);
        expectNearestDouble(slice.phi1, 1 - k / 8);
        expectNearestDouble(slice.phi2, 2 - k / 8);
    }
}

TEST(SphereGeometry, TheTableCoversTheSphereFromTheTopLeftOn) {
    EXPECT_EQ(sliceTable.size(), 32U);
    EXPECT_EQ(sliceTable.front().theta1, 0.0);
    EXPECT_EQ(sliceTable.front().phi2, std::numbers::pi / 2);
    EXPECT_EQ(sliceTable.back().theta2, 2 * std::numbers::pi);
    EXPECT_EQ(sliceTable.back().phi1, -std::numbers::pi / 2);
    for (std::size_t k = 0; k < sliceTable.size(); ++k) {
        if (k % 8 != 7) {
            EXPECT_EQ(sliceTable.at(k).theta2, sliceTable.at(k + 1).theta1);
        }
        if (k < 24) {
            EXPECT_EQ(sliceTable.at(k).phi1, sliceTable.at(k + 8).phi2);
        }
    }
}

TEST(SphereGeometry, AFrameHas4992Vertices) {
    EXPECT_EQ(gSphereRez, 12.0);
    std::size_t vertices = 0;
    for (int k = 0; k < sectionCount; ++k) {
        const auto slice = strips(k, gSphereRez);
        EXPECT_EQ(slice.size(), 6U);
        for (const TriangleStrip& strip : slice) {
            EXPECT_EQ(strip.size(), 26U);
            vertices += strip.size();
        }
    }
    EXPECT_EQ(vertices, 4992U);
}

TEST(SphereGeometry, EveryVertexLiesOnTheSphereToSinglePrecision) {
    for (int k = 0; k < sectionCount; ++k) {
        for (const TriangleStrip& strip : strips(k)) {
            for (const SphereVertex& v : strip) {
                const double radius = std::hypot(static_cast<double>(v.x), static_cast<double>(v.y),
                                                 static_cast<double>(v.z));
                // Three coordinates, each rounded by at most half a unit in the last place of 500.
                EXPECT_NEAR(radius, 500.0, 3 * 500.0 * 0x1p-24);
            }
        }
    }
}

TEST(SphereGeometry, ASliceFillsItsAnglesAndItsTexture) {
    const auto slice = strips(14, 12, 512, 300);
    const SphereVertex& lowerLeft = slice.front().front();
    const SphereVertex& upperRight = slice.back().back();
    EXPECT_EQ(lowerLeft.s, 0.0F);
    EXPECT_EQ(lowerLeft.t, 300.0F);  // the last texel row meets the lower edge
    EXPECT_EQ(upperRight.s, 512.0F);
    EXPECT_EQ(upperRight.t, 0.0F);  // the first one the upper edge
    const SliceAngles& angles = sliceTable.at(14);
    EXPECT_EQ(lowerLeft.x,
              static_cast<float>(500.0 * std::cos(angles.phi1) * std::cos(angles.theta1)));
    EXPECT_EQ(lowerLeft.y, static_cast<float>(500.0 * std::sin(angles.phi1)));
    EXPECT_EQ(lowerLeft.z,
              static_cast<float>(500.0 * std::cos(angles.phi1) * std::sin(angles.theta1)));
    EXPECT_NEAR(static_cast<double>(upperRight.y), 500.0 * std::sin(angles.phi2), 1e-4);
}

TEST(SphereGeometry, StripsClimbInStepsAndColumnsRunEastward) {
    const auto slice = strips(9, 12, 120, 60);
    for (std::size_t j = 0; j < 6; ++j) {
        for (std::size_t i = 0; i < 13; ++i) {
            const SphereVertex& a = slice[j][2 * i];
            const SphereVertex& b = slice[j][2 * i + 1];
            EXPECT_FLOAT_EQ(a.s, static_cast<float>(10 * i));
            EXPECT_EQ(a.s, b.s);
            EXPECT_NEAR(static_cast<double>(a.t), 60.0 - 10.0 * static_cast<double>(j), 1e-5);
            EXPECT_NEAR(static_cast<double>(b.t), 50.0 - 10.0 * static_cast<double>(j), 1e-5);
            EXPECT_LT(a.y, b.y);
            const double longitude = std::atan2(static_cast<double>(a.z), static_cast<double>(a.x));
            EXPECT_NEAR(longitude, (45.0 + 3.75 * static_cast<double>(i)) * std::numbers::pi / 180,
                        1e-6);
        }
    }
}

TEST(SphereGeometry, TheTopBandMeetsInThePole) {
    for (int k = 0; k < 8; ++k) {
        for (std::size_t i = 0; i < 13; ++i) {
            const SphereVertex pole = strips(k).back()[2 * i + 1];
            EXPECT_EQ(pole.y, 500.0F);
            EXPECT_NEAR(static_cast<double>(pole.x), 0.0, 1e-12);
            EXPECT_EQ(pole.t, 0.0F);
        }
    }
}

TEST(SphereGeometry, WithoutAResolutionNothingIsDrawn) {
    EXPECT_TRUE(strips(0, 0).empty());
    EXPECT_TRUE(strips(0, -12).empty());
}

TEST(SphereGeometry, AnOddResolutionGetsAStripMore) {
    const auto slice = strips(0, 5);
    EXPECT_EQ(slice.size(), 3U);  // the strips 0 to 2, below 2.5
    EXPECT_EQ(slice.front().size(), 12U);
}

}  // namespace lumaweave
