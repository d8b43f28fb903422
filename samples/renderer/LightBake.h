// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "Scene.h"

namespace lumaweave {

/// Soft light at a vertex: how much arrives, and from where on average.
struct Probe {
    Vec3 irradiance;
    Vec3 direction;
};

/// How much finer or coarser light is gathered.
struct BakeQuality {
    int windowSide = 6;      ///< window samples per side of a square grid
    int hemisphereSide = 7;  ///< bounce samples per side of a square grid
};

/// The window's soft light and what bounces around the room, stored at the vertices. Sunlight
/// itself is left out; it is traced where it is needed.
std::vector<Probe> bakeLight(const Scene& scene, const BakeQuality& quality, int threads);

/// Unblocked share of the sun, seen from an indoor point; `jitter` holds two numbers in [0, 1).
double sunThroughWindow(const Scene& scene, const Vec3& point, const Vec3& normal, double jitterU,
                        double jitterV);

/// How much of the outdoor light the old window panes let into the room.
double paneTransmission();

}  // namespace lumaweave
