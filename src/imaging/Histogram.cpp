#include "imaging/Histogram.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "platform/Log.h"

namespace lumaweave {

namespace {

// What one channel adds to the luminance, for each value of a byte. Taken from tables, a sum is
// rounded after every step on every machine: nothing is left to fuse into a multiply-add.
using Terms = std::array<float, 256>;

Terms termsOf(float weight) {
    Terms terms{};
    for (std::size_t value = 0; value < terms.size(); ++value)
        terms[value] = (static_cast<float>(value) / 255.0F) * weight;
    return terms;
}

struct Luminance {
    Terms red = termsOf(0.299F);
    // Not 0.587: the weights add up to 0.999, so that pure white stays below the end of the last
    // bin.
    Terms green = termsOf(0.586F);
    Terms blue = termsOf(0.114F);

    [[nodiscard]] float of(const unsigned char* pixel) const {
        return (red[pixel[0]] + green[pixel[1]]) + blue[pixel[2]];
    }
};

// How many pixels are read: the product as a 32-bit integer, no more than the buffer holds.
std::size_t pixelCount(const RgbaBitmap& bitmap) {
    const auto product = static_cast<std::int32_t>(static_cast<std::uint32_t>(bitmap.pixelsWide) *
                                                   static_cast<std::uint32_t>(bitmap.pixelsHigh));
    if (product <= 0) return 0;
    return std::min(static_cast<std::size_t>(product), bitmap.byteCount / 4);
}

}  // namespace

std::vector<float> luminanceHistogram(const RgbaBitmap& bitmap, int binCount) {
    if (bitmap.bytesPerRow != 4 * static_cast<std::size_t>(std::max(0, bitmap.pixelsWide))) {
        Log("crap, bad rowbytes!");
    }
    if (binCount <= 0) return {};
    static const Luminance luminance;
    const auto bins = static_cast<float>(binCount);
    const auto last = static_cast<std::size_t>(binCount) - 1;
    // Neighbouring pixels often fall into the same bin; counting them in turns in two rows of bins
    // does not have to wait for the one before.
    std::vector<std::uint32_t> counts(2 * static_cast<std::size_t>(binCount));
    const std::size_t pixels = pixelCount(bitmap);
    for (std::size_t i = 0; i < pixels; ++i) {
        const auto index = static_cast<std::size_t>(luminance.of(bitmap.bytes + 4 * i) * bins);
        ++counts[2 * std::min(index, last) + i % 2];
    }
    // Counting in single precision, one by one, comes to a halt where the next number is two away.
    constexpr std::uint32_t halt = 1U << 24;
    std::vector<float> result(static_cast<std::size_t>(binCount));
    for (std::size_t bin = 0; bin < result.size(); ++bin) {
        result[bin] = static_cast<float>(std::min(counts[2 * bin] + counts[2 * bin + 1], halt));
    }
    return result;
}

void normaliseHistogram(std::vector<float>& bins, float height) {
    float highest = 0.0F;
    for (const float bin : bins)
        highest = std::max(highest, bin);
    const float scale = height / highest;
    for (float& bin : bins)
        bin *= scale;
}

}  // namespace lumaweave
