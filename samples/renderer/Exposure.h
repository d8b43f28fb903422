// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "Renderer.h"

namespace lumaweave {

/// One shot of a bracket.
struct Shot {
    int number = 1;   ///< from 1, the darkest
    double bias = 0;  ///< in EV, relative to the middle of the bracket
};

/// An 8-bit sRGB picture.
struct PixelImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgb;
};

/// The shots of a bracket, from dark to bright.
std::vector<Shot> bracketOf(int shots, double evStep);

/// Exposes the sensor: vignetting, photon and read noise, clipping, then the tone curve.
PixelImage expose(const RadianceImage& light, const Shot& shot, int threads);

}  // namespace lumaweave
