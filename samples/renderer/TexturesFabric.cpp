// SPDX-License-Identifier: GPL-3.0-or-later
#include "Noise.h"
#include "Textures.h"

namespace lumaweave {

namespace {

/// Light and dark of crossing threads, 1 on average; fades where threads are finer than a pixel.
double weaveShade(double u, double v, double thread, double footprint) {
    const double seen = 1 - smoothstep(0.4 * thread, 1.4 * thread, footprint);
    if (seen <= 0) {
        return 1;
    }
    const double a = std::sin(2 * kPi * u / thread);
    const double b = std::sin(2 * kPi * v / thread);
    return 1 + 0.28 * seen * a * b;
}

/// Rosette of `petals` leaves: 1 inside, 0 outside.
double rosette(double x, double y, double radius, double petals, double soft) {
    const double r = std::hypot(x, y);
    const double angle = std::atan2(y, x);
    const double rim = radius * (0.62 + 0.38 * std::cos(petals * angle));
    return 1 - smoothstep(rim - soft, rim + soft, r);
}

double band(double v, double from, double to, double soft) {
    return smoothstep(from - soft, from + soft, v) * (1 - smoothstep(to - soft, to + soft, v));
}

const Vec3 kRedWool{0.23, 0.055, 0.040};
const Vec3 kNavyWool{0.040, 0.050, 0.085};
const Vec3 kCreamWool{0.42, 0.35, 0.25};
const Vec3 kOchreWool{0.34, 0.20, 0.075};

/// The ground of the rug: a lattice of tendrils with a blossom in every mesh.
Vec3 rugField(double x, double z, double soft) {
    constexpr double kMesh = 0.15;
    Vec3 colour = kRedWool;
    const double sway = 0.018 * std::sin(2 * kPi * (x - z) / (2 * kMesh));
    for (const double sign : {-1.0, 1.0}) {
        const double line = std::abs(fraction((x + sign * z + sway) / kMesh) - 0.5) * kMesh;
        colour = mix(kNavyWool, colour, smoothstep(0.005, 0.005 + 2 * soft, line));
    }
    const double u = (x + z) / kMesh + 0.5;
    const double v = (x - z) / kMesh + 0.5;
    const double du = (fraction(u) - 0.5) * kMesh;
    const double dv = (fraction(v) - 0.5) * kMesh;
    const double kind = cellUnit(u, v, 41);
    const double petals = 4 + 2 * std::floor(kind * 3);
    const Vec3 outer = kind > 0.6 ? kCreamWool : kind > 0.3 ? kOchreWool : kNavyWool;
    const Vec3 inner = kind > 0.45 ? kNavyWool : kCreamWool;
    colour = mix(colour, outer, rosette(du, dv, 0.052, petals, soft));
    colour = mix(colour, inner, rosette(du, dv, 0.032, petals, soft));
    return mix(colour, kRedWool, rosette(du, dv, 0.012, 0, soft));
}

}  // namespace

double weaveHeight(const TexturePoint& at, double thread, double depth) {
    return depth * weaveShade(at.p.x, at.p.z, thread, at.footprint) +
           0.004 * fbm(at.p * 24, 3, at.footprint * 24);
}

Surface tableclothSurface(const TexturePoint& at) {
    // The texture point holds cloth coordinates in metres: x across, z along.
    const double f = at.footprint;
    const double wander = 0.004 * (fbm(at.p * 13, 2, f * 13) - 0.5);
    const double u = at.p.x + wander;
    const double v = at.p.z - wander;
    constexpr double kCheck = 0.075;
    const double soft = 0.02 + f / kCheck;
    const double stripeU = band(fraction(u / kCheck), 0.25, 0.75, soft);
    const double stripeV = band(fraction(v / kCheck), 0.25, 0.75, soft);
    Vec3 colour = mix(Vec3{0.60, 0.55, 0.45}, Vec3{0.075, 0.15, 0.30}, 0.5 * (stripeU + stripeV));
    const double cu = std::floor(u / (2 * kCheck));
    const double cv = std::floor(v / (2 * kCheck));
    const double x = (fraction(u / (2 * kCheck)) - 0.5) * 2 * kCheck;
    const double y = (fraction(v / (2 * kCheck)) - 0.5) * 2 * kCheck;
    const double kind = cellUnit(cu, cv, 77);
    if (kind > 0.35) {
        const double flower = rosette(x, y, 0.030, 5 + std::floor(kind * 3), 0.001 + 0.5 * f);
        const Vec3 thread = mix({0.50, 0.06, 0.05}, {0.62, 0.38, 0.07}, cellUnit(cu, cv, 78));
        colour = mix(colour, thread, 0.9 * flower);
        colour = mix(colour, Vec3{0.65, 0.55, 0.16}, rosette(x, y, 0.008, 0, 0.001 + 0.5 * f));
    }
    const double tint = fbm(at.p * 5, 4, f * 5);
    const double nap = fbm(at.p * 260, 2, f * 260);
    return {colour * (0.72 + 0.56 * tint) * (0.75 + 0.5 * nap) * weaveShade(u, v, 0.0042, f), 0, 0,
            0};
}

Surface rugSurface(const TexturePoint& at) {
    // Rug coordinates: the middle of the rug at the origin, half sizes 1.15 and 0.85 metres.
    const double f = at.footprint;
    const double soft = 0.004 + 0.5 * f;
    const double x = std::abs(at.p.x) + 0.004 * (fbm(at.p * 20, 2, f * 20) - 0.5);
    const double z = std::abs(at.p.z) + 0.004 * (fbm(at.p * 22, 2, f * 22) - 0.5);
    const double rim = std::min(1.15 - x, 0.85 - z);
    Vec3 colour = rugField(x, z, soft);
    const double medal = rosette(x, z, 0.46, 8, 2 * soft);
    const double inner = rosette(x, z, 0.30, 12, 2 * soft);
    colour = mix(colour, mix(kNavyWool, kOchreWool, rosette(x, z, 0.41, 16, 2 * soft)), medal);
    colour = mix(colour, mix(kCreamWool, kRedWool, rosette(x, z, 0.26, 12, 2 * soft)), inner);
    const double tile = rosette((fraction(x / 0.11) - 0.5) * 0.11,
                                (fraction(z / 0.11) - 0.5) * 0.11, 0.045, 4, soft);
    const Vec3 border = mix(mix(kNavyWool, kOchreWool, 0.15),
                            mix(kCreamWool, kRedWool, cellUnit(x / 0.11, z / 0.11, 5)), tile);
    colour = mix(border, colour, smoothstep(0.22 - soft, 0.22 + soft, rim));
    colour = mix(colour, kCreamWool, band(rim, 0.215, 0.235, soft) + band(rim, 0.02, 0.04, soft));
    const double abrash = fbm({at.p.x * 0.7, 1.0, at.p.z * 9}, 3, f * 9);
    const double pile = fbm(at.p * 210, 3, f * 210);
    const double wear = fbm(at.p * 3, 4, f * 3);
    return {colour * (0.6 + 0.8 * abrash) * (0.55 + 0.9 * pile) * (0.75 + 0.5 * wear), 0, 0, 0};
}

Surface upholsterySurface(const TexturePoint& at) {
    const double f = at.footprint;
    const Vec3 p = at.p;
    const double u = p.x + 0.6 * p.z;
    const double v = p.y + 0.8 * p.z;
    const double seen = 1 - smoothstep(0.006, 0.02, f);
    const double zigzag = std::abs(fraction(v / 0.028) - 0.5) * 0.028;
    const double rib = std::sin(2 * kPi * (u + zigzag) / 0.014);
    const double flecks = fbm(p * 190, 3, f * 190);
    const double melange = fbm(p * 120, 3, f * 120);
    const double wear = fbm(p * 3.3, 4, f * 3.3);
    Vec3 colour = mix({0.085, 0.15, 0.12}, {0.20, 0.26, 0.18}, 0.5 + 0.5 * seen * rib);
    colour = mix(colour, Vec3{0.36, 0.27, 0.12}, 0.8 * smoothstep(0.56, 0.70, melange));
    return {colour * (0.45 + 1.1 * flecks) * (0.7 + 0.6 * wear), 0, 0, 0};
}

Surface curtainSurface(const TexturePoint& at) {
    // x runs across the unfolded cloth, y up.
    const double f = at.footprint;
    const double stripe = fraction(at.p.x / 0.16);
    const double soft = 0.02 + f / 0.16;
    const double slub = fbm({at.p.x * 30, at.p.y * 260, 2.0}, 3, f * 200);
    const double slubAcross = fbm({at.p.x * 300, at.p.y * 26, 7.0}, 3, f * 220);
    Vec3 colour{0.47, 0.40, 0.29};
    colour = mix(colour, Vec3{0.33, 0.12, 0.07}, band(stripe, 0.1, 0.34, soft));
    colour = mix(colour, Vec3{0.11, 0.17, 0.18}, band(stripe, 0.46, 0.54, soft));
    const double x = (stripe - 0.76) * 0.16;
    const double y = (fraction(at.p.y / 0.12) - 0.5) * 0.12;
    colour = mix(colour, Vec3{0.30, 0.20, 0.06}, rosette(x, y, 0.026, 6, 0.001 + 0.5 * f));
    const double fade = fbm(at.p * 2, 3, f * 2);
    return {colour * (0.6 + 0.45 * slub + 0.45 * slubAcross) * (0.75 + 0.5 * fade), 0, 0, 0.12};
}

Surface cushionSurface(const TexturePoint& at) {
    const double f = at.footprint;
    const double zig = std::abs(fraction(at.p.x / 0.07) - 0.5) * 0.07;
    const double row = fraction((at.p.y + zig) / 0.06);
    const double soft = 0.02 + f / 0.06;
    Vec3 colour = mix(Vec3{0.50, 0.26, 0.06}, Vec3{0.46, 0.40, 0.30}, band(row, 0.1, 0.35, soft));
    colour = mix(colour, Vec3{0.25, 0.05, 0.04}, band(row, 0.55, 0.8, soft));
    const double knit = fbm(at.p * 170, 3, f * 170);
    return {colour * (0.45 + 1.1 * knit), 0, 0, 0};
}

Surface lampshadeSurface(const TexturePoint& at) {
    const double f = at.footprint;
    const double angle = std::atan2(at.p.z, at.p.x);
    const double thread = fbm({angle * 60, at.p.y * 8, 1.0}, 3, f * 120);
    const double cross = fbm({angle * 5, at.p.y * 160, 4.0}, 3, f * 160);
    const Vec3 colour = Vec3{0.50, 0.43, 0.31} * (0.5 + 0.5 * thread + 0.5 * cross);
    return {colour, 0, 0, 0.15};
}

}  // namespace lumaweave
