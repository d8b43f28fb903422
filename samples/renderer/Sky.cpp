// SPDX-License-Identifier: GPL-3.0-or-later
#include "Sky.h"

#include "Noise.h"

namespace lumaweave {

namespace {

const Vec3 kHorizon{2.9, 3.3, 3.7};
const Vec3 kZenith{0.55, 1.15, 2.6};

Vec3 clearSky(double height) {
    return mix(kHorizon, kZenith, std::pow(saturate(height * 1.25), 0.55));
}

/// Thickness of cumulus clouds; coordinates are azimuth and elevation in radians.
double cloudDensity(double azimuth, double elevation) {
    const Vec3 p{azimuth * 9.0, elevation * 21.0, 3.7};
    const double bank = fbm(p * 0.42 + Vec3{1.3, 0.4, 0}, 2);
    const double puffs = fbm(p, 6);
    const double base = smoothstep(0.035, 0.085, elevation);
    return smoothstep(0.50, 0.66, 0.62 * puffs + 0.38 * bank + 0.06 * base + 0.02);
}

}  // namespace

Vec3 sunDirection() {
    return normalized({0.56, 0.60, 0.46});
}

Vec3 sunIrradiance() {
    return {21.0, 18.6, 15.2};
}

Vec3 skyRadiance(const Vec3& direction) {
    const double elevation = std::asin(std::clamp(direction.y, -1.0, 1.0));
    const Vec3 clear = clearSky(std::max(0.0, direction.y));
    if (elevation < 0) {
        return clear;
    }
    const double azimuth = std::atan2(direction.x, direction.z);
    const double density = cloudDensity(azimuth, elevation);
    if (density <= 0) {
        return clear;
    }
    // Clouds are lit from the upper right, where the sun is.
    const double towardsSun = cloudDensity(azimuth + 0.012, elevation + 0.010);
    const double lit = saturate(0.55 + 0.9 * (density - towardsSun) + 0.35 * (1 - density));
    const Vec3 cloud = mix(Vec3{3.1, 3.2, 3.45}, Vec3{5.6, 5.35, 5.0}, lit);
    return mix(clear, cloud, 0.92 * density);
}

Vec3 outdoorGlow(const Vec3& direction) {
    const Vec3 ground{0.95, 1.05, 0.62};
    const Vec3 sky = mix(clearSky(std::max(0.0, direction.y)), Vec3{4.2, 4.2, 4.2}, 0.25);
    return mix(ground, sky, smoothstep(-0.04, 0.05, direction.y));
}

Vec3 outdoorAmbient(const Vec3& normal) {
    const Vec3 sky{5.6, 6.9, 8.6};
    const Vec3 ground{1.9, 1.8, 1.1};
    return mix(ground, sky, 0.5 + 0.5 * normal.y);
}

Vec3 withHaze(const Vec3& radiance, double distance, const Vec3& direction) {
    const double share = 1 - std::exp(-std::max(0.0, distance - 15) / 2400.0);
    return mix(radiance, clearSky(std::max(0.0, direction.y)) * Vec3{0.70, 0.78, 0.92}, share);
}

}  // namespace lumaweave
