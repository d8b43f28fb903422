// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <vector>

namespace lumaweave {

// The sphere that a panorama is laid on, seen from its centre: 32 slices of 45 by 45 degrees, each
// with a texture of its own. Longitude is theta, latitude phi, both in radians. Pure; any thread.

inline constexpr int sectionColumns = 8;
inline constexpr int sectionRows = 4;
inline constexpr int sectionCount = sectionColumns * sectionRows;
inline constexpr double sphereRadius = 500.0;

// The borders of a slice: west, east, lower, upper.
struct SliceAngles {
    double theta1, theta2, phi1, phi2;
};

// Row by row from the north pole down, each row eastward from longitude 0: slice k carries section
// k of the picture.
extern const std::array<SliceAngles, sectionCount> sliceTable;

// A texture coordinate in pixels of the section (its top row first), and a place on the sphere.
struct SphereVertex {
    float s, t;
    float x, y, z;
};

using TriangleStrip = std::vector<SphereVertex>;

// The slice as triangle strips from its lower edge up, for a section of this size in pixels. The
// resolution is the number of quads along a strip, and twice the number of strips; one that is not
// above 0 gives none.
[[nodiscard]] std::vector<TriangleStrip> sliceStrips(const SliceAngles& slice, double resolution,
                                                     int textureWidth, int textureHeight);

}  // namespace lumaweave
