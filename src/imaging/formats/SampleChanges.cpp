// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/SampleChanges.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "imaging/picture/ColourProfile.h"
#include "imaging/picture/PixelData.h"

namespace lumaweave {

namespace {

template <typename Sample>
void stretch(Sample* samples, std::size_t count, unsigned highest) {
    constexpr unsigned full = fullValue<Sample>();
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned value = std::min<unsigned>(samples[i], highest);
        samples[i] = static_cast<Sample>((std::uint64_t{value} * full + highest / 2) / highest);
    }
}

void showLight(float* samples, std::size_t pixels, const PixelFormat& format) {
    for (std::size_t i = 0; i < pixels; ++i, samples += format.samples()) {
        for (int s = 0; s < format.colours; ++s)
            samples[s] = displayValue(samples[s]);
    }
}

template <typename Sample>
void yccToRgb(Sample* pixel, std::size_t pixels, int samples) {
    constexpr double full = fullValue<Sample>();
    constexpr double middle = (full + 1) / 2;
    const auto sampleOf = [full](double value) {
        return static_cast<Sample>(std::clamp(value + 0.5, 0.0, full));
    };
    for (std::size_t i = 0; i < pixels; ++i, pixel += samples) {
        const double luminance = pixel[0];
        const double blue = pixel[1] - middle;
        const double red = pixel[2] - middle;
        pixel[0] = sampleOf(luminance + 1.402 * red);
        pixel[1] = sampleOf(luminance - 0.344136 * blue - 0.714136 * red);
        pixel[2] = sampleOf(luminance + 1.772 * blue);
    }
}

template <typename Sample>
void labToSamples(std::vector<std::byte>& rows, std::size_t pixels) {
    const auto* first = reinterpret_cast<const float*>(rows.data());
    std::vector<float> colours(first, first + 3 * pixels);
    labToSrgb(colours.data(), colours.data(), pixels);
    auto* samples = reinterpret_cast<Sample*>(rows.data());
    for (const float colour : colours)
        *samples++ =
            static_cast<Sample>(std::lround(colour * static_cast<float>(fullValue<Sample>())));
}

}  // namespace

void SampleChanges::apply(std::vector<std::byte>& rows, std::size_t pixels,
                          const PixelFormat& format) const {
    withSampleType(format.type, [&]<typename Sample>() {
        auto* samples = reinterpret_cast<Sample*>(rows.data());
        if (isLab) {
            labToSamples<Sample>(rows, pixels);
        } else if constexpr (std::is_same_v<Sample, float>) {
            showLight(samples, pixels, format);
        } else {
            const std::size_t count = pixels * static_cast<std::size_t>(format.samples());
            if (highest != 0) stretch(samples, count, highest);
            if (isYcc) yccToRgb(samples, pixels, format.samples());
        }
    });
}

}  // namespace lumaweave
