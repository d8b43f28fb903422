// SPDX-License-Identifier: GPL-3.0-or-later
#include "panorama/SphereGeometry.h"

#include <cmath>

namespace lumaweave {

namespace {

// The multiples of pi/4 from -2 to 8, each the double nearest to it: products of a rounded pi/4
// would be one bit off here and there.
constexpr int lowestMultiple = -2;
constexpr std::array<double, 11> quarterTurns = {
    -1.57079632679489661923, -0.78539816339744830962, 0.0,
    0.78539816339744830962,  1.57079632679489661923,  2.35619449019234492885,
    3.14159265358979323846,  3.92699081698724154808,  4.71238898038468985769,
    5.49778714378213816731,  6.28318530717958647693,
};

constexpr double quarter(int multiple) {
    return quarterTurns.at(static_cast<std::size_t>(multiple - lowestMultiple));
}

constexpr std::array<SliceAngles, sectionCount> makeSliceTable() {
    std::array<SliceAngles, sectionCount> table{};
    for (int k = 0; k < sectionCount; ++k) {
        const int column = k % sectionColumns;
        const int band = k / sectionColumns;
        table.at(static_cast<std::size_t>(k)) = {quarter(column), quarter(column + 1),
                                                 quarter(1 - band), quarter(2 - band)};
    }
    return table;
}

// In 64 bits up to the last step.
SphereVertex vertexAt(float s, float t, double phi, double theta) {
    return {s, t, static_cast<float>(sphereRadius * std::cos(phi) * std::cos(theta)),
            static_cast<float>(sphereRadius * std::sin(phi)),
            static_cast<float>(sphereRadius * std::cos(phi) * std::sin(theta))};
}

}  // namespace

const std::array<SliceAngles, sectionCount> sliceTable = makeSliceTable();

std::vector<TriangleStrip> sliceStrips(const SliceAngles& slice, double resolution,
                                       int textureWidth, int textureHeight) {
    const double n = resolution;
    const double h = 0.5 * n;
    const auto width = static_cast<float>(textureWidth);
    const auto height = static_cast<float>(textureHeight);
    std::vector<TriangleStrip> strips;
    for (int j = 0; j < h; ++j) {
        const double phiA = slice.phi1 + j * (slice.phi2 - slice.phi1) / h;
        const double phiB = slice.phi1 + (j + 1) * (slice.phi2 - slice.phi1) / h;
        const auto tA = static_cast<float>(1 - 2 * j / n);
        const auto tB = static_cast<float>(1 - 2 * (j + 1) / n);
        TriangleStrip& strip = strips.emplace_back();
        for (int i = 0; i <= n; ++i) {
            const auto s = static_cast<float>(i * (1 / n));
            const double theta = slice.theta1 + i * (slice.theta2 - slice.theta1) * (1 / n);
            strip.push_back(vertexAt(width * s, height * tA, phiA, theta));
            strip.push_back(vertexAt(width * s, height * tB, phiB, theta));
        }
    }
    return strips;
}

}  // namespace lumaweave
