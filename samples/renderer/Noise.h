// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include "Vec.h"

namespace lumaweave {

/// Mixes up to three integers into 32 well-spread bits.
std::uint32_t hashOf(std::uint32_t a, std::uint32_t b = 0, std::uint32_t c = 0);

/// The same, as a number in [0, 1).
double hashUnit(std::uint32_t a, std::uint32_t b = 0, std::uint32_t c = 0);

/// Hash of the lattice cell that holds (u, v), in [0, 1).
double cellUnit(double u, double v, std::uint32_t salt = 0);

/// A stream of reproducible random numbers.
class RandomStream {
  public:
    explicit RandomStream(std::uint32_t seed) : seed_(seed) {}
    double next() { return hashUnit(seed_, ++count_, 0x51u); }
    double between(double low, double high) { return low + (high - low) * next(); }

  private:
    std::uint32_t seed_;
    std::uint32_t count_ = 0;
};

/// Smooth value noise in [0, 1].
double valueNoise(const Vec3& p);

/// Sum of noise octaves around 0.5; octaves finer than `footprint` (in the units of `p`) are left
/// out, so that distant surfaces do not alias.
double fbm(const Vec3& p, int octaves, double footprint = 0);

/// Thin bright ridges, in [0, 1].
double ridges(const Vec3& p, int octaves, double footprint = 0);

}  // namespace lumaweave
