// SPDX-License-Identifier: GPL-3.0-or-later
#include "panorama/OpenGLMath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace lumaweave {

namespace {

double degrees(double radians) {
    return radians * 180 / std::numbers::pi;
}

}  // namespace

TEST(OpenGLMath, NormalizeLeavesAVectorOfLength0) {
    float vector[] = {0.0F, 0.0F, 0.0F};
    normalize(vector);
    EXPECT_EQ(vector[0], 0.0F);
    EXPECT_EQ(vector[1], 0.0F);
    EXPECT_EQ(vector[2], 0.0F);
}

TEST(OpenGLMath, NormalizeScalesToLength1) {
    float vector[] = {3.0F, 0.0F, 4.0F};
    normalize(vector);
    EXPECT_FLOAT_EQ(vector[0], 0.6F);
    EXPECT_EQ(vector[1], 0.0F);
    EXPECT_FLOAT_EQ(vector[2], 0.8F);
}

TEST(OpenGLMath, NormalizeKeepsTheDirectionOfNegativeComponents) {
    float vector[] = {0.0F, -2.0F, 0.0F};
    normalize(vector);
    EXPECT_EQ(vector[0], 0.0F);
    EXPECT_EQ(vector[1], -1.0F);
    EXPECT_EQ(vector[2], 0.0F);
}

TEST(OpenGLMath, AFrustumOf85DegreesIn800By600) {
    const float aspect = 800.0F / 600.0F;
    EXPECT_EQ(aspect, 1.3333334F);
    const Frustum frustum = perspectiveFrustum(85.0F, aspect, 10.0F);
    EXPECT_EQ(frustum.top, static_cast<float>(10.0 * std::tan(85.0 * 0.00872664625997)));
    EXPECT_EQ(frustum.bottom, -frustum.top);
    EXPECT_EQ(frustum.right, frustum.top * aspect);
    EXPECT_EQ(frustum.left, -frustum.right);
    EXPECT_NEAR(degrees(2 * std::atan(static_cast<double>(frustum.top) / 10)), 85.0, 1e-5);
    EXPECT_NEAR(degrees(2 * std::atan(static_cast<double>(frustum.right) / 10)), 101.4, 0.05);
}

TEST(OpenGLMath, TheCameraAtTheCentreIsTheIdentity) {
    const auto matrix = lookAtRotation({0.0F, 0.0F, -1.0F}, {0.0F, 1.0F, 0.0F});
    for (std::size_t i = 0; i < 16; ++i)
        EXPECT_EQ(matrix.at(i), i % 5 == 0 ? 1.0F : 0.0F) << i;
}

TEST(OpenGLMath, TheRowsOfACameraAreItsAxes) {
    // Looks along +x with +z up: its right is -y.
    const auto m = lookAtRotation({2.0F, 0.0F, 0.0F}, {0.0F, 0.0F, 1.0F});
    const std::array<float, 16> expected = {0.0F,  0.0F, -1.0F, 0.0F,  // what x turns into
                                            -1.0F, 0.0F, 0.0F,  0.0F,  //
                                            0.0F,  1.0F, 0.0F,  0.0F,  //
                                            0.0F,  0.0F, 0.0F,  1.0F};
    for (std::size_t i = 0; i < 16; ++i)
        EXPECT_FLOAT_EQ(m.at(i), expected.at(i)) << i;
}

// The side takes on the up vector's length, and normalising takes it out again.
TEST(OpenGLMath, TheLengthOfTheUpVectorDoesNotMatter) {
    const auto one = lookAtRotation({1.0F, 2.0F, -3.0F}, {0.0F, 1.0F, 0.0F});
    const auto seven = lookAtRotation({1.0F, 2.0F, -3.0F}, {0.0F, 7.0F, 0.0F});
    for (std::size_t i = 0; i < 16; ++i)
        EXPECT_NEAR(static_cast<double>(one.at(i)), static_cast<double>(seven.at(i)), 1e-6);
}

TEST(Drag, ASumOf100PointsToTheRightTurnsBy40Degrees) {
    SphereRotation rotation;
    for (const double delta : {10.0, 25.0, 65.0})
        rotation = dragged(rotation, delta, 0);
    EXPECT_EQ(rotation.cubeRotY, 40.0F);
    EXPECT_EQ(rotation.cubeRotX, 0.0F);
}

TEST(Drag, ASumOf300PointsDownStopsAt90Degrees) {
    SphereRotation rotation;
    for (int i = 0; i < 30; ++i)
        rotation = dragged(rotation, 0, 10);
    EXPECT_EQ(rotation.cubeRotX, 90.0F);
    rotation = dragged(rotation, 0, 50);
    EXPECT_EQ(rotation.cubeRotX, 90.0F);
}

TEST(Drag, TheClampComesAfterEachEvent) {
    // 300 points down and 100 back: from 90, not from the 120 that the sum would be.
    SphereRotation rotation = dragged({}, 0, 300);
    rotation = dragged(rotation, 0, -100);
    EXPECT_EQ(rotation.cubeRotX, 50.0F);
    rotation = dragged(rotation, 0, -1000);
    EXPECT_EQ(rotation.cubeRotX, -90.0F);
}

TEST(Drag, YawGrowsWithoutBound) {
    SphereRotation rotation;
    for (int i = 0; i < 10; ++i)
        rotation = dragged(rotation, 100, 0);
    EXPECT_EQ(rotation.cubeRotY, 400.0F);
    rotation = dragged(rotation, -100000, 0);
    EXPECT_EQ(rotation.cubeRotY, -39600.0F);
}

TEST(Drag, TheSumIsFormedIn64Bits) {
    // 0.4 in 32 bits would give another last bit here.
    const SphereRotation rotation = dragged({0.1F, 0.1F}, 3, 3);
    const auto expected = static_cast<float>(static_cast<double>(0.1F) + 3 * 0.4);
    EXPECT_EQ(rotation.cubeRotX, expected);
    EXPECT_EQ(rotation.cubeRotY, expected);
}

}  // namespace lumaweave
