// SPDX-License-Identifier: GPL-3.0-or-later
#include "Exposure.h"

#include <array>

#include "Noise.h"
#include "Parallel.h"

namespace lumaweave {

namespace {

/// Sensor reading, 1 at clipping, per unit of radiance in the middle shot.
constexpr double kMiddleGain = 3.5;
constexpr double kFullWell = 26000;   // electrons at clipping
constexpr double kReadNoise = 5.0;    // electrons
constexpr double kVignetting = 0.34;  // loss in the far corners

double gaussian(std::uint32_t pixel, std::uint32_t channel, std::uint32_t seed) {
    const double u = hashUnit(pixel, channel, seed);
    const double v = hashUnit(pixel, channel + 8, seed);
    return std::sqrt(-2 * std::log(1 - u * 0.9999999)) * std::cos(2 * kPi * v);
}

double toneCurve(double v) {
    return v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
}

/// The tone curve as a table, fine enough for 8 bits even in the shadows.
const std::vector<std::uint8_t>& toneTable() {
    static const std::vector<std::uint8_t> table = [] {
        constexpr int kSteps = 1 << 16;
        std::vector<std::uint8_t> t(kSteps + 1);
        for (int i = 0; i <= kSteps; ++i) {
            t[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(
                std::lround(255 * toneCurve(static_cast<double>(i) / kSteps)));
        }
        return t;
    }();
    return table;
}

std::uint8_t developed(double reading) {
    const auto& table = toneTable();
    const double scaled = saturate(reading) * static_cast<double>(table.size() - 1);
    return table[static_cast<std::size_t>(std::lround(scaled))];
}

double noisy(double signal, double noise) {
    const double electrons = signal * kFullWell;
    const double spread = std::sqrt(std::max(0.0, electrons) + kReadNoise * kReadNoise);
    return (electrons + noise * spread) / kFullWell;
}

}  // namespace

std::vector<Shot> bracketOf(int shots, double evStep) {
    std::vector<Shot> bracket;
    for (int k = 0; k < shots; ++k) {
        bracket.push_back({k + 1, evStep * (k - 0.5 * (shots - 1))});
    }
    return bracket;
}

PixelImage expose(const RadianceImage& light, const Shot& shot, int threads) {
    PixelImage image{light.width, light.height, {}};
    image.rgb.resize(light.rgb.size());
    const double gain = kMiddleGain * std::exp2(shot.bias);
    const auto seed = static_cast<std::uint32_t>(shot.number) * 0x1003fu;
    const double cx = 0.5 * light.width;
    const double cy = 0.5 * light.height;
    const double corner = cx * cx + cy * cy;
    forEachIndex(light.height, threads, [&](int y) {
        for (int x = 0; x < light.width; ++x) {
            const double dx = x + 0.5 - cx;
            const double dy = y + 0.5 - cy;
            // A picture of every direction has no corners to darken.
            const double loss = light.allRound ? 0 : kVignetting;
            const double vignette = 1 - loss * (dx * dx + dy * dy) / corner;
            const std::size_t pixel =
                static_cast<std::size_t>(y) * static_cast<std::size_t>(light.width) +
                static_cast<std::size_t>(x);
            for (std::uint32_t c = 0; c < 3; ++c) {
                const double signal =
                    gain * vignette * static_cast<double>(light.rgb[3 * pixel + c]);
                const double noise = gaussian(static_cast<std::uint32_t>(pixel), c, seed);
                image.rgb[3 * pixel + c] = developed(noisy(signal, noise));
            }
        }
    });
    return image;
}

}  // namespace lumaweave
