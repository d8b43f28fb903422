// SPDX-License-Identifier: GPL-3.0-or-later
#include "Noise.h"
#include "Textures.h"

namespace lumaweave {

namespace {

double band(double v, double from, double to, double soft) {
    return smoothstep(from - soft, from + soft, v) * (1 - smoothstep(to - soft, to + soft, v));
}

}  // namespace

Surface meadowSurface(const TexturePoint& at) {
    const double f = at.footprint;
    // Irregular fields: a grid bent by noise.
    const Vec3 broad{at.p.x * 0.012, 0.5, at.p.z * 0.012};
    const double bentX = at.p.x / 46 + 1.1 * fbm(broad, 3);
    const double bentZ = at.p.z / 58 + 1.1 * fbm(broad + Vec3{40, 0, 40}, 3);
    const double kind = cellUnit(bentX, bentZ, 31);
    Vec3 colour = mix({0.075, 0.135, 0.030}, {0.17, 0.20, 0.055}, cellUnit(bentX, bentZ, 32));
    const bool garden = at.p.z < 48;
    if (garden) {
        colour = {0.095, 0.155, 0.036};
    } else if (kind > 0.72) {
        colour = {0.36, 0.28, 0.115};
    } else if (kind > 0.62) {
        colour = {0.19, 0.12, 0.075};
    }
    const double rows = std::sin(2 * kPi * (at.p.x * 0.5 + at.p.z * (kind - 0.4)) / 1.9);
    colour = colour * (1 + 0.16 * rows * (1 - smoothstep(0.3, 1.2, f)));
    const double edge = std::min(std::min(fraction(bentX), 1 - fraction(bentX)),
                                 std::min(fraction(bentZ), 1 - fraction(bentZ)));
    colour = mix(Vec3{0.045, 0.075, 0.022}, colour, garden ? 1.0 : smoothstep(0.012, 0.03, edge));
    const double tufts = fbm(at.p * 2.6, 5, f * 2.6);
    const double patches = fbm(at.p * 0.16, 4, f * 0.16);
    return {colour * (0.45 + 1.1 * tufts) * (0.7 + 0.6 * patches), 0, 0, 0};
}

Surface hillSurface(const TexturePoint& at) {
    const double f = at.footprint;
    const double wood = fbm(at.p * 0.011 + Vec3{3, 0, 8}, 4, f * 0.011);
    const double crowns = fbm(at.p * 0.17, 4, f * 0.17);
    const double kind = cellUnit(at.p.x / 60 + 2 * wood, at.p.y / 18 + 2 * wood, 61);
    const Vec3 field = mix({0.12, 0.19, 0.05}, {0.40, 0.33, 0.14}, smoothstep(0.5, 0.9, kind));
    const Vec3 forest = Vec3{0.035, 0.062, 0.024} * (0.1 + 1.8 * crowns);
    return {mix(field * (0.7 + 0.6 * crowns), forest, smoothstep(0.46, 0.52, wood)), 0, 0, 0};
}

Surface houseWallSurface(const TexturePoint& at) {
    // x along the wall, y up from the ground, in metres.
    const double f = at.footprint;
    const double soft = 0.01 + 0.5 * f;
    const double hue = hashUnit(at.seed, 1);
    const Vec3 base = hue > 0.6   ? Vec3{0.60, 0.52, 0.40}
                      : hue > 0.3 ? Vec3{0.62, 0.60, 0.55}
                                  : Vec3{0.42, 0.20, 0.13};
    const Vec3 p = shifted(at);
    const double stain = fbm(p * 0.8, 4, f * 0.8);
    const double courses = hue > 0.3 ? 0 : band(fraction(at.p.y / 0.22), 0.0, 0.2, 0.05 + f * 4);
    Vec3 colour = base * (0.65 + 0.7 * stain) * (0.8 + 0.4 * fbm(p * 6, 3, f * 6));
    colour = colour * (1 - 0.3 * courses);
    const double bayU = fraction(at.p.x / 2.6);
    const double floorV = fraction(at.p.y / 2.9);
    const bool open = cellUnit(at.p.x / 2.6, at.p.y / 2.9, at.seed) > 0.12 && at.p.y < 5.8;
    if (open) {
        const double u = (bayU - 0.5) * 2.6;
        const double v = (floorV - 0.52) * 2.9;
        const double frame = band(u, -0.62, 0.62, soft) * band(v, -0.78, 0.78, soft);
        const double pane = frame * band(std::abs(u), 0.04, 0.54, soft) *
                            band(std::abs(v + 0.2), 0.04, 0.9, soft) * band(v, -0.7, 0.7, soft);
        const double shutter = band(std::abs(u), 0.64, 1.12, soft) * band(v, -0.78, 0.78, soft);
        const Vec3 paint = mix({0.06, 0.16, 0.13}, {0.10, 0.15, 0.25}, hashUnit(at.seed, 4));
        const double slats = 0.75 + 0.25 * std::sin(v * 70) * (1 - smoothstep(0.02, 0.08, f));
        colour = mix(colour, paint * slats, hashUnit(at.seed, 5) > 0.4 ? shutter : 0);
        colour = mix(colour, Vec3{0.66, 0.65, 0.62}, frame);
        colour = mix(colour, Vec3{0.055, 0.065, 0.080}, pane);
    }
    return {colour, 0, 0, 0};
}

Surface roofTileSurface(const TexturePoint& at) {
    const double f = at.footprint;
    const double row = at.p.z / 0.32;
    const double column = at.p.x / 0.26 + 0.5 * std::fmod(std::abs(std::floor(row)), 2.0);
    const double each = cellUnit(row, column, at.seed);
    const double lip = 1 - 0.55 * band(fraction(row), 0.0, 0.22, 0.04 + f * 3);
    const Vec3 base =
        hashUnit(at.seed, 2) > 0.35 ? Vec3{0.34, 0.125, 0.070} : Vec3{0.13, 0.125, 0.13};
    const double moss = smoothstep(0.52, 0.7, fbm(shifted(at) * 0.7, 4, f * 0.7));
    const double seen = 1 - smoothstep(0.15, 0.6, f);
    const Vec3 colour = base * (1 + seen * 0.7 * (each - 0.5)) * mix(0.85, lip, seen);
    return {mix(colour, Vec3{0.11, 0.11, 0.045}, 0.5 * moss), 0, 0, 0};
}

double roofTileHeight(const TexturePoint& at) {
    return 0.05 * std::abs(std::sin(kPi * at.p.x / 0.26)) * (at.footprint < 0.15 ? 1.0 : 0.0);
}

Surface treeLeafSurface(const TexturePoint& at) {
    const double tree = hashUnit(at.seed >> 12, 3);
    const double leaf = hashUnit(at.seed, 7);
    const Vec3 young = mix({0.13, 0.19, 0.035}, {0.20, 0.20, 0.040}, tree);
    const Vec3 old = mix({0.040, 0.085, 0.020}, {0.075, 0.095, 0.024}, tree);
    return {mix(old, young, leaf) * (0.8 + 0.4 * fbm(at.p * 9, 2, at.footprint * 9)), 0, 0, 0.45};
}

}  // namespace lumaweave
