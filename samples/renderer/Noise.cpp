// SPDX-License-Identifier: GPL-3.0-or-later
#include "Noise.h"

namespace lumaweave {

namespace {

std::uint32_t finish(std::uint32_t h) {
    h ^= h >> 16;
    h *= 0x7feb352du;
    h ^= h >> 15;
    h *= 0x846ca68bu;
    h ^= h >> 16;
    return h;
}

double corner(std::uint32_t h) {
    h ^= h >> 15;
    h *= 0x2c1b3c6du;
    h ^= h >> 12;
    h *= 0x297a2d39u;
    return static_cast<double>(h >> 8) * (1.0 / 16777216.0);
}

std::uint32_t lattice(double v) {
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(std::floor(v)));
}

double eased(double t) {
    return t * t * (3 - 2 * t);
}

}  // namespace

std::uint32_t hashOf(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
    return finish(a * 0x9e3779b1u + finish(b * 0x85ebca77u + finish(c + 0x27d4eb2fu)));
}

double hashUnit(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
    return hashOf(a, b, c) * (1.0 / 4294967296.0);
}

double cellUnit(double u, double v, std::uint32_t salt) {
    return hashUnit(lattice(u), lattice(v), salt);
}

double valueNoise(const Vec3& p) {
    const std::uint32_t ix = lattice(p.x) * 0x8da6b343u;
    const std::uint32_t iy = lattice(p.y) * 0xd8163841u;
    const std::uint32_t iz = lattice(p.z) * 0xcb1ab31fu;
    const std::uint32_t jx = ix + 0x8da6b343u;
    const std::uint32_t jy = iy + 0xd8163841u;
    const std::uint32_t jz = iz + 0xcb1ab31fu;
    const double tx = eased(fraction(p.x));
    const double ty = eased(fraction(p.y));
    const double tz = eased(fraction(p.z));
    const double low = mix(mix(corner(ix ^ iy ^ iz), corner(jx ^ iy ^ iz), tx),
                           mix(corner(ix ^ jy ^ iz), corner(jx ^ jy ^ iz), tx), ty);
    const double high = mix(mix(corner(ix ^ iy ^ jz), corner(jx ^ iy ^ jz), tx),
                            mix(corner(ix ^ jy ^ jz), corner(jx ^ jy ^ jz), tx), ty);
    return mix(low, high, tz);
}

double fbm(const Vec3& p, int octaves, double footprint) {
    double sum = 0.5;
    double weight = 0.5;
    double scale = 1;
    for (int i = 0; i < octaves; ++i) {
        const double fade = 1 - smoothstep(0.35, 0.9, footprint * scale);
        if (fade <= 0) {
            break;
        }
        const double shift = 17.3 * i;
        sum += weight * fade *
               (valueNoise({p.x * scale + shift, p.y * scale - shift, p.z * scale + shift}) - 0.5);
        weight *= 0.5;
        scale *= 2.03;
    }
    return sum;
}

double ridges(const Vec3& p, int octaves, double footprint) {
    const double v = fbm(p, octaves, footprint);
    return 1 - std::abs(2 * v - 1);
}

}  // namespace lumaweave
