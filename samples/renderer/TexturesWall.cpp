// SPDX-License-Identifier: GPL-3.0-or-later
#include "Noise.h"
#include "Textures.h"

namespace lumaweave {

namespace {

constexpr double kPlankWidth = 0.135;
constexpr double kPlankLength = 1.7;
constexpr double kBrickLength = 0.225;
constexpr double kBrickHeight = 0.075;

/// Position within one plank of the floor; planks run along z.
struct Plank {
    double along;
    double across;  ///< 0 to 1
    double end;     ///< 0 to 1
    std::uint32_t id;
};

Plank plankAt(const Vec3& p) {
    const double row = std::floor(p.x / kPlankWidth);
    const double start = p.z / kPlankLength + cellUnit(row, 0, 11) * 3;
    const double board = std::floor(start);
    const auto id = static_cast<std::uint32_t>(cellUnit(row, board, 12) * 4e9);
    return {p.z, p.x / kPlankWidth - row, start - board, id};
}

double plankGap(const Plank& plank, double footprint) {
    const double side = std::min(plank.across, 1 - plank.across) * kPlankWidth;
    const double end = std::min(plank.end, 1 - plank.end) * kPlankLength;
    const double width = 0.0016 + 0.5 * footprint;
    const double strength = std::min(1.0, 0.0022 / width + 0.25);
    return strength * (1 - smoothstep(0.5 * width, 1.5 * width, std::min(side, end)));
}

struct BrickCell {
    double mortar;  ///< 0 on the brick, 1 in the joint
    std::uint32_t id;
    Vec3 p;
};

/// Brickwork in the plane of a side wall: z runs along it, y up.
BrickCell brickAt(const TexturePoint& at) {
    const double wobble = 0.006 * (fbm(at.p * 9, 2, at.footprint * 9) - 0.5);
    const double row = std::floor((at.p.y + wobble) / kBrickHeight);
    const double shift = std::fmod(std::abs(row), 2.0) * 0.5 + 0.06 * cellUnit(row, 3, 5);
    const double along = (at.p.z + at.p.x + wobble) / kBrickLength + shift;
    const double column = std::floor(along);
    const double dv = (at.p.y + wobble) / kBrickHeight - row;
    const double du = along - column;
    const double edge =
        std::min(std::min(dv, 1 - dv) * kBrickHeight, std::min(du, 1 - du) * kBrickLength);
    const double blur = 0.002 + 0.5 * at.footprint;
    const double ragged = 0.004 * (valueNoise(at.p * 60) - 0.5);
    return {1 - smoothstep(0.0055 - blur, 0.0055 + blur, edge + ragged),
            static_cast<std::uint32_t>(cellUnit(row, column, 21) * 4e9), at.p};
}

}  // namespace

Vec3 woodColour(const TexturePoint& at, double tone) {
    const Vec3 p = shifted(at);
    const double f = at.footprint;
    const double warp = fbm({p.x * 0.9, p.y * 5, p.z * 5}, 3, f * 5);
    const double ring = 0.5 + 0.5 * std::sin(2 * kPi * (p.z * 22 + p.y * 14 + warp * 5));
    const double ringSeen = 1 - smoothstep(0.008, 0.03, f);
    const double streak = fbm({p.x * 7, p.y * 130, p.z * 130}, 3, f * 130);
    const double pores = fbm({p.x * 26, p.y * 420, p.z * 420}, 2, f * 420);
    const double patchy = fbm({p.x * 1.7, p.y * 3, p.z * 3}, 3, f * 3);
    const Vec3 pale = mix({0.50, 0.33, 0.18}, {0.20, 0.105, 0.052}, tone);
    const Vec3 dark = mix({0.27, 0.15, 0.070}, {0.065, 0.032, 0.017}, tone);
    const double t = 0.32 * ring * ringSeen + 1.3 * (streak - 0.34) + 0.5 * (patchy - 0.5);
    return mix(pale, dark, saturate(t)) * (0.55 + 0.90 * pores);
}

double woodHeight(const TexturePoint& at) {
    const Vec3 p = shifted(at);
    return 0.0009 * fbm({p.x * 7, p.y * 130, p.z * 130}, 3, at.footprint * 130) +
           0.003 * fbm({p.x * 1.5, p.y * 9, p.z * 9}, 2, at.footprint * 9);
}

/// Old oak: drying cracks, knots and worm holes.
Surface beamSurface(const TexturePoint& at) {
    const Vec3 p = shifted(at);
    const double f = at.footprint;
    const double split = ridges({p.x * 1.6, p.y * 26, p.z * 26}, 3, f * 26);
    const double crack = smoothstep(0.95, 0.985, split) * smoothstep(0.4, 0.6, fbm(p * 2.3, 2));
    const double knot = smoothstep(0.80, 0.90, valueNoise({p.x * 8, p.y * 20, p.z * 20}));
    const double worm = smoothstep(0.80, 0.86, valueNoise(p * 95)) * (f < 0.006 ? 1.0 : 0.4);
    const double weather = fbm({p.x * 14, p.y * 40, p.z * 40}, 4, f * 40);
    Vec3 colour = woodColour(at, 0.85) * (0.45 + 1.1 * weather);
    colour = colour * (1 - 0.75 * crack) * (1 - 0.6 * knot) * (1 - 0.6 * worm);
    return {colour, 0, 0, 0};
}

Surface floorSurface(const TexturePoint& at) {
    const Plank plank = plankAt(at.p);
    const TexturePoint grain{
        {plank.along, at.p.x, 0.37 * static_cast<double>(plank.id % 97u)}, plank.id, at.footprint};
    const double tone = 0.30 + 0.55 * hashUnit(plank.id, 1);
    Vec3 colour = woodColour(grain, tone);
    const double knotField =
        valueNoise({plank.along * 3.1, at.p.x * 9, static_cast<double>(plank.id % 89u)});
    colour = colour * (1 - 0.65 * smoothstep(0.86, 0.95, knotField));
    const double wear = fbm({at.p.x * 2.2, 4.0, at.p.z * 2.2}, 4, at.footprint * 2.2);
    const double scratches =
        smoothstep(0.93, 0.99, ridges({at.p.x * 9, 9.0, at.p.z * 3}, 3, at.footprint * 9));
    colour = colour * (0.70 + 0.6 * wear) + Vec3{0.05, 0.043, 0.034} * scratches;
    const double gap = plankGap(plank, at.footprint);
    colour = mix(colour, Vec3{0.018, 0.013, 0.010}, 0.92 * gap);
    return {colour, 0.016 * (1 - gap) * (0.55 + 0.9 * (1 - wear)), 0.11, 0};
}

double floorHeight(const TexturePoint& at) {
    const Plank plank = plankAt(at.p);
    const TexturePoint grain{{plank.along, at.p.x, 0.0}, plank.id, at.footprint};
    const double cup = 4 * plank.across * (1 - plank.across);
    return 0.5 * woodHeight(grain) + 0.0007 * cup - 0.002 * plankGap(plank, at.footprint);
}

Surface plasterSurface(const TexturePoint& at) {
    const Vec3 p = shifted(at);
    const double f = at.footprint;
    const double cloud = fbm(p * 1.7, 5, f * 1.7);
    const double mottle = fbm(p * 11 + Vec3{5, 1, 3}, 4, f * 11);
    const double grit = fbm(p * 150, 3, f * 150);
    const double crackMask = smoothstep(0.60, 0.68, fbm(p * 0.9 + Vec3{9, 9, 9}, 2, f));
    const double crack =
        crackMask * smoothstep(0.975, 0.995, ridges(p * 1.9 + Vec3{2, 7, 1}, 6, f * 1.9));
    const double spots = smoothstep(0.74, 0.82, valueNoise(p * 38)) * (f < 0.012 ? 1.0 : 0.4);
    Vec3 colour = mix({0.40, 0.355, 0.285}, {0.62, 0.575, 0.49}, saturate(1.1 * cloud - 0.05));
    colour = colour * (0.60 + 0.80 * mottle) * (0.52 + 0.96 * grit);
    colour = mix(colour, Vec3{0.30, 0.24, 0.17}, 0.55 * spots);
    const double flecks = smoothstep(0.78, 0.86, valueNoise(p * 66 + Vec3{7, 0, 2}));
    colour = colour * (1 + 0.28 * flecks * (f < 0.008 ? 1.0 : 0.3));
    // Walls darken towards the skirting, where hands and shoes reach.
    const double low = 1 - smoothstep(0.1, 0.9, at.p.y + 0.5 * (cloud - 0.5));
    colour = colour * (1 - 0.25 * low);
    return {mix(colour, Vec3{0.12, 0.10, 0.08}, 0.7 * crack), 0, 0, 0};
}

double plasterHeight(const TexturePoint& at) {
    const Vec3 p = shifted(at);
    const double f = at.footprint;
    return 0.013 * fbm(p * 4.5, 3, f * 4.5) + 0.0055 * fbm(p * 34, 3, f * 34) +
           0.0006 * fbm(p * 210, 2, f * 210);
}

Surface brickSurface(const TexturePoint& at) {
    const BrickCell cell = brickAt(at);
    const double f = at.footprint;
    const double speckle = fbm(at.p * 85, 4, f * 85);
    const double stain = fbm(at.p * 1.6, 4, f * 1.6);
    const double blotch =
        fbm(at.p * 17 + Vec3{0, 0, static_cast<double>(cell.id % 31u)}, 3, f * 17);
    const double hue = hashUnit(cell.id, 1);
    const double burnt = hashUnit(cell.id, 2) > 0.86 ? 0.55 : 1.0;
    Vec3 brick = mix({0.33, 0.135, 0.085}, {0.46, 0.25, 0.15}, hue);
    brick = brick * burnt * (0.75 + 0.45 * hashUnit(cell.id, 3));
    brick = brick * (0.22 + 0.60 * blotch + 0.96 * speckle);
    const double lime = smoothstep(0.56, 0.72, blotch) * smoothstep(0.5, 0.7, stain);
    brick = mix(brick, Vec3{0.50, 0.46, 0.40}, 0.55 * lime);
    const Vec3 mortar = Vec3{0.42, 0.38, 0.32} * (0.55 + 0.8 * speckle);
    return {mix(brick, mortar, cell.mortar) * (0.72 + 0.56 * stain), 0, 0, 0};
}

double brickHeight(const TexturePoint& at) {
    const BrickCell cell = brickAt(at);
    const double f = at.footprint;
    return 0.006 * (1 - cell.mortar) + 0.0045 * fbm(at.p * 40, 3, f * 40) +
           0.004 * hashUnit(cell.id, 9);
}

}  // namespace lumaweave
