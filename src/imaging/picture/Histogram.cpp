// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/picture/Histogram.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "imaging/picture/PixelData.h"
#include "imaging/picture/ScreenImage.h"
#include "platform/Log.h"

namespace lumaweave {

namespace {

// What one channel adds to the luminance, for each value of a byte. With tables every machine
// rounds the sum after every step: nothing is left to fuse into a multiply-add.
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

class Counter {
  public:
    explicit Counter(int binCount)
        : binCount_(std::max(0, binCount)), counts_(2 * static_cast<std::size_t>(binCount_)) {}

    void add(const RgbaBitmap& bitmap) {
        if (bitmap.bytesPerRow != 4 * static_cast<std::size_t>(std::max(0, bitmap.pixelsWide))) {
            logLine("crap, bad rowbytes!");
        }
        if (binCount_ == 0) return;
        static const Luminance luminance;
        const auto bins = static_cast<float>(binCount_);
        const auto last = static_cast<std::size_t>(binCount_) - 1;
        const std::size_t pixels = pixelCount(bitmap);
        for (std::size_t i = 0; i < pixels; ++i) {
            const auto index = static_cast<std::size_t>(luminance.of(bitmap.bytes + 4 * i) * bins);
            ++counts_[2 * std::min(index, last) + i % 2];
        }
    }

    [[nodiscard]] std::vector<float> bins() const {
        // Counting in single precision, one by one, comes to a halt where the next number is two
        // away.
        constexpr std::uint32_t halt = 1U << 24;
        std::vector<float> result;
        for (std::size_t i = 0; i < counts_.size(); i += 2)
            result.push_back(static_cast<float>(std::min(counts_[i] + counts_[i + 1], halt)));
        return result;
    }

  private:
    int binCount_;
    // Two counts for each bin, which pixels take in turns: neighbours often fall into the same bin,
    // and would have to wait for one another.
    std::vector<std::uint32_t> counts_;
};

}  // namespace

std::vector<float> luminanceHistogram(const RgbaBitmap& bitmap, int binCount) {
    Counter counter(binCount);
    counter.add(bitmap);
    return counter.bins();
}

std::vector<float> luminanceHistogram(const Image& image, int binCount) {
    Counter counter(binCount);
    if (image.isNull()) return counter.bins();
    const PixelData& pixels = image.pixels();
    // A few rows at a time: they are still in the processor's cache when they are counted.
    constexpr int rowsAtATime = 16;
    PixelData rows = pixels;
    for (int y = 0; y < pixels.height; y += rowsAtATime) {
        rows.bytes = pixels.row<std::byte>(y);
        rows.height = std::min(rowsAtATime, pixels.height - y);
        const QImage bytes = fileValues(rows);
        counter.add({bytes.constBits(), static_cast<std::size_t>(bytes.sizeInBytes()),
                     bytes.width(), bytes.height(),
                     static_cast<std::size_t>(bytes.bytesPerLine())});
    }
    return counter.bins();
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
