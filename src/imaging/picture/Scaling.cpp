// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/picture/Scaling.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "imaging/picture/PixelData.h"

namespace lumaweave {

namespace {

// What one target position takes of one axis of the source: weights for the positions from `first`
// on, which add up to 1. All but the two outer weights of a shrinking axis are equal.
struct Contribution {
    int first = 0;
    std::vector<float> weights;
};

Contribution averaged(double begin, double end, int sourceLength) {
    Contribution result;
    result.first = std::clamp(static_cast<int>(std::floor(begin)), 0, sourceLength - 1);
    const int last =
        std::clamp(static_cast<int>(std::ceil(end)) - 1, result.first, sourceLength - 1);
    for (int i = result.first; i <= last; ++i) {
        const double covered = std::min(end, i + 1.0) - std::max(begin, static_cast<double>(i));
        result.weights.push_back(static_cast<float>(covered / (end - begin)));
    }
    return result;
}

Contribution interpolated(double centre, int sourceLength) {
    const double position = std::clamp(centre - 0.5, 0.0, sourceLength - 1.0);
    Contribution result;
    result.first = std::min(static_cast<int>(position), std::max(0, sourceLength - 2));
    const auto fraction = static_cast<float>(position - result.first);
    result.weights = {1.0F - fraction};
    if (sourceLength > 1) result.weights.push_back(fraction);
    return result;
}

// For a part of one axis of the source: from `begin` on, `length` long.
std::vector<Contribution> contributions(double begin, double length, int sourceLength,
                                        int targetLength) {
    std::vector<Contribution> result;
    result.reserve(static_cast<std::size_t>(targetLength));
    const double step = length / targetLength;
    for (int i = 0; i < targetLength; ++i) {
        result.push_back(step >= 1.0
                             ? averaged(begin + i * step, begin + (i + 1) * step, sourceLength)
                             : interpolated(begin + (i + 0.5) * step, sourceLength));
    }
    return result;
}

// The source positions that some target position takes.
struct Range {
    int first = 0;
    int count = 0;
};

Range takenRange(const std::vector<Contribution>& axis) {
    int end = 0;
    for (const Contribution& taken : axis)
        end = std::max(end, taken.first + static_cast<int>(taken.weights.size()));
    return {axis.front().first, end - axis.front().first};
}

// Adds whole rows of 8 or 16-bit samples, which is where the time goes: integers, in a loop that
// the compiler turns into vector instructions.
template <typename Sample>
void addRow(const Sample* row, std::size_t count, std::uint32_t* sums) {
    for (std::size_t i = 0; i < count; ++i)
        sums[i] += row[i];
}

template <typename Value>
void addWeightedRow(const Value* row, std::size_t count, float weight, float* sums) {
    for (std::size_t i = 0; i < count; ++i)
        sums[i] += weight * static_cast<float>(row[i]);
}

// The vertical mean of the rows of one target row, from a first column on.
template <typename Sample>
void gatherRows(const PixelData& source, const Contribution& rows, int firstColumn,
                std::vector<std::uint32_t>& whole, std::vector<float>& result) {
    const std::size_t count = result.size();
    std::fill(result.begin(), result.end(), 0.0F);
    const std::size_t last = rows.weights.size() - 1;
    const auto row = [&](std::size_t k) {
        return source.row<Sample>(rows.first + static_cast<int>(k)) +
               firstColumn * source.format.samples();
    };
    addWeightedRow(row(0), count, rows.weights.front(), result.data());
    if (last > 0) addWeightedRow(row(last), count, rows.weights.back(), result.data());
    if (last < 2) return;
    if constexpr (std::is_integral_v<Sample>) {
        constexpr std::size_t rowsInSum = 65536;  // of 16-bit samples, without overflow
        for (std::size_t begin = 1; begin < last; begin += rowsInSum) {
            std::fill(whole.begin(), whole.end(), 0U);
            for (std::size_t k = begin; k < std::min(last, begin + rowsInSum); ++k)
                addRow(row(k), count, whole.data());
            addWeightedRow(whole.data(), count, rows.weights[1], result.data());
        }
    } else {
        for (std::size_t k = 1; k < last; ++k) {
            addWeightedRow(row(k), count, rows.weights[k], result.data());
        }
    }
}

// The same with colours weighted by alpha: the result holds colour x alpha, and alpha.
template <typename Sample>
void gatherRowsWithAlpha(const PixelData& source, const Contribution& rows, const Range& columns,
                         std::vector<float>& result) {
    std::fill(result.begin(), result.end(), 0.0F);
    const int samples = source.format.samples();
    constexpr float opaque = static_cast<float>(fullValue<Sample>());
    for (std::size_t k = 0; k < rows.weights.size(); ++k) {
        const Sample* from =
            source.row<Sample>(rows.first + static_cast<int>(k)) + columns.first * samples;
        float* to = result.data();
        for (int x = 0; x < columns.count; ++x) {
            const float alpha = rows.weights[k] * static_cast<float>(from[samples - 1]);
            for (int s = 0; s + 1 < samples; ++s) {
                to[s] += static_cast<float>(from[s]) * (alpha / opaque);
            }
            to[samples - 1] += alpha;
            from += samples;
            to += samples;
        }
    }
}

template <typename Sample>
Sample toSample(float value) {
    if constexpr (std::is_integral_v<Sample>) {
        return static_cast<Sample>(
            std::clamp(value + 0.5F, 0.0F, static_cast<float>(fullValue<Sample>())));
    } else {
        return value;
    }
}

// Alpha-weighted sums back to plain colours.
template <typename Sample>
void divideByAlpha(float* pixel, int samples) {
    const float alpha = pixel[samples - 1] / static_cast<float>(fullValue<Sample>());
    for (int s = 0; s + 1 < samples; ++s)
        pixel[s] = alpha > 0 ? pixel[s] / alpha : 0.0F;
}

template <typename Sample>
void scaleRows(const PixelData& source, const QRectF& area, PixelBuffer& target) {
    const int samples = source.format.samples();
    const PixelData& size = target.description();
    const auto columns = contributions(area.x(), area.width(), source.width, size.width);
    const auto rows = contributions(area.y(), area.height(), source.height, size.height);
    const Range taken = takenRange(columns);
    std::vector<float> gathered(static_cast<std::size_t>(taken.count * samples));
    std::vector<std::uint32_t> whole(gathered.size());
    std::vector<float> pixel(static_cast<std::size_t>(samples));
    for (int y = 0; y < size.height; ++y) {
        const Contribution& row = rows[static_cast<std::size_t>(y)];
        if (source.format.alpha) {
            gatherRowsWithAlpha<Sample>(source, row, taken, gathered);
        } else {
            gatherRows<Sample>(source, row, taken.first, whole, gathered);
        }
        Sample* to = target.row<Sample>(y);
        for (const Contribution& column : columns) {
            std::fill(pixel.begin(), pixel.end(), 0.0F);
            const float* from = gathered.data() + (column.first - taken.first) * samples;
            for (const float weight : column.weights) {
                for (int s = 0; s < samples; ++s)
                    pixel[static_cast<std::size_t>(s)] += weight * *from++;
            }
            if (source.format.alpha) divideByAlpha<Sample>(pixel.data(), samples);
            for (const float value : pixel)
                *to++ = toSample<Sample>(value);
        }
    }
}

}  // namespace

Image scaledPixels(const PixelData& source, int width, int height) {
    return scaledPart(source, QRectF(0, 0, source.width, source.height), width, height);
}

Image scaledPart(const PixelData& source, const QRectF& area, int width, int height) {
    PixelBuffer target(width, height, source.format);
    target.description().colourProfile = source.colourProfile;
    target.description().pixelsPerMillimetre = source.pixelsPerMillimetre;
    withSampleType(source.format.type,
                   [&]<typename Sample>() { scaleRows<Sample>(source, area, target); });
    return std::move(target).finish();
}

}  // namespace lumaweave
