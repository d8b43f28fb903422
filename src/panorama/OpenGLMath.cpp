// SPDX-License-Identifier: GPL-3.0-or-later
#include "panorama/OpenGLMath.h"

#include <qopengl.h>

#include <algorithm>
#include <cmath>

namespace lumaweave {

namespace {

constexpr double degreesPerPoint = 0.4;
constexpr float pole = 90.0F;
// pi/360: from the whole angle in degrees to half of it in radians.
constexpr double halfInRadians = 0.00872664625997;

std::array<float, 3> crossProduct(const std::array<float, 3>& a, const std::array<float, 3>& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

float moved(float angle, double delta) {
    return static_cast<float>(static_cast<double>(angle) + delta * degreesPerPoint);
}

}  // namespace

SphereRotation dragged(SphereRotation rotation, double deltaX, double deltaY) {
    return {std::clamp(moved(rotation.cubeRotX, deltaY), -pole, pole),
            moved(rotation.cubeRotY, deltaX)};
}

void normalize(float* vector) {
    const float length =
        std::sqrt(vector[0] * vector[0] + vector[1] * vector[1] + vector[2] * vector[2]);
    if (length == 0.0F) return;
    const float scale = 1.0F / length;
    for (int i = 0; i < 3; ++i)
        vector[i] *= scale;
}

Frustum perspectiveFrustum(float fovy, float aspect, float zNear) {
    const auto ymax = static_cast<float>(static_cast<double>(zNear) *
                                         std::tan(static_cast<double>(fovy) * halfInRadians));
    return {-ymax * aspect, ymax * aspect, -ymax, ymax};
}

std::array<float, 16> lookAtRotation(std::array<float, 3> forward, const std::array<float, 3>& up) {
    normalize(forward.data());
    std::array<float, 3> side = crossProduct(forward, up);
    normalize(side.data());
    const std::array<float, 3> trueUp = crossProduct(side, forward);
    return {side[0], trueUp[0], -forward[0], 0.0F,  //
            side[1], trueUp[1], -forward[1], 0.0F,  //
            side[2], trueUp[2], -forward[2], 0.0F,  //
            0.0F,    0.0F,      0.0F,        1.0F};
}

void gluPerspective(float fovy, float aspect, float zNear, float zFar) {
    const Frustum frustum = perspectiveFrustum(fovy, aspect, zNear);
    glFrustum(static_cast<GLdouble>(frustum.left), static_cast<GLdouble>(frustum.right),
              static_cast<GLdouble>(frustum.bottom), static_cast<GLdouble>(frustum.top),
              static_cast<GLdouble>(zNear), static_cast<GLdouble>(zFar));
}

void gluLookAt(float eyeX, float eyeY, float eyeZ, float centerX, float centerY, float centerZ,
               float upX, float upY, float upZ) {
    glMultMatrixf(
        lookAtRotation({centerX - eyeX, centerY - eyeY, centerZ - eyeZ}, {upX, upY, upZ}).data());
    glTranslatef(-eyeX, -eyeY, -eyeZ);
}

}  // namespace lumaweave
