// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <vector>

namespace lumaweave {

class Image;

// How the brightness of a picture is distributed. Functions of values; any thread.

// A picture of four bytes a pixel, red first, top row first. The bytes belong to the caller.
struct RgbaBitmap {
    const unsigned char* bytes = nullptr;
    std::size_t byteCount = 0;
    int pixelsWide = 0;
    int pixelsHigh = 0;
    std::size_t bytesPerRow = 0;
};

// Counts the pixels by their luminance, from black in the first bin to white in the last; alpha
// does not count. None or a negative number of bins gives no bins. Reads the rows as one packed
// run: logs padded ones and reads them like that all the same, but never past the bitmap's end. The
// sums are those of single precision: a bin that has reached 2^24 stays there.
[[nodiscard]] std::vector<float> luminanceHistogram(const RgbaBitmap& bitmap, int binCount);

// The same for the values that the picture's file holds, as bytes: not converted by its profile.
[[nodiscard]] std::vector<float> luminanceHistogram(const Image& image, int binCount);

// Scales the bins so that the highest becomes `height`. Bins that are all empty become values that
// are not numbers.
void normaliseHistogram(std::vector<float>& bins, float height);

}  // namespace lumaweave
