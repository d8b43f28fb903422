// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>

namespace lumaweave {

// The camera of the panorama: the viewer's own versions of three matrix functions, and how a drag
// turns the sphere. The arithmetic stands apart from the OpenGL calls, which need a current context
// and change its current matrix.

// How the sphere is turned, in degrees. Pitch stops at the poles; yaw grows without bound.
struct SphereRotation {
    float cubeRotX = 0.0F;  // pitch, -90 to 90
    float cubeRotY = 0.0F;  // yaw
};

// The rotation after a drag of this many points (right and down are positive), 0.4 degrees each.
[[nodiscard]] SphereRotation dragged(SphereRotation rotation, double deltaX, double deltaY);

// Scales the vector of three to length 1; one of length 0 stays as it is.
void normalize(float* vector);

// The window on the near plane through which a perspective looks.
struct Frustum {
    float left, right, bottom, top;
};
// `fovy` is the vertical field of view in degrees, `aspect` width divided by height.
[[nodiscard]] Frustum perspectiveFrustum(float fovy, float aspect, float zNear);

// The rotation that turns the world before an eye that looks from (0, 0, 0) along `forward` (any
// length), as OpenGL stores matrices: column by column.
[[nodiscard]] std::array<float, 16> lookAtRotation(std::array<float, 3> forward,
                                                   const std::array<float, 3>& up);

// Multiply the current matrix by a perspective, and by a camera.
void gluPerspective(float fovy, float aspect, float zNear, float zFar);
void gluLookAt(float eyeX, float eyeY, float eyeZ, float centerX, float centerY, float centerZ,
               float upX, float upY, float upZ);

}  // namespace lumaweave
