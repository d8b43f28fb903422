// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>
#include <array>
#include <filesystem>
#include <functional>
#include <vector>

#include "imaging/picture/Image.h"

namespace vips {
class VImage;
}

namespace lumaweave::test {

// Pictures made on the spot, and their pixels as numbers.

// The value of sample s of the pixel at (x, y), y downward from the top; 0 is black, 1 is white (or
// opaque).
using SampleFunction = std::function<double(int x, int y, int s)>;

// A picture in memory.
[[nodiscard]] Image makeImage(int width, int height, const PixelFormat& format,
                              const SampleFunction& value);

// A picture with smooth shades and some texture, different for every seed; `exposure` multiplies
// its light, as a longer shot of the same scene would.
[[nodiscard]] SampleFunction sceneAt(double exposure, int seed = 0);

// A picture of one colour (0 to 1 each), opaque. A grey one takes the red.
[[nodiscard]] Image plainPicture(int width, int height, const std::array<double, 3>& colour,
                                 const PixelFormat& format = {});
[[nodiscard]] Image plainPicture(int width, int height, const QColor& colour,
                                 const PixelFormat& format = {});

// Writes a picture in the format that the file's ending names (.jpg .png .webp .tif), with libvips.
void saveImage(const Image& image, const std::filesystem::path& path);

// The same as a libvips image, for tests that save with their own options.
[[nodiscard]] vips::VImage vipsImage(const Image& image);

// Writes a TIFF as the tools write theirs: compressed, with unassociated alpha.
void saveCompressedTiff(const Image& image, const std::filesystem::path& path);

// All samples of the picture, top row first, from 0 to 1.
[[nodiscard]] std::vector<double> samplesOf(const Image& image);

// The largest and the mean difference between two pictures' samples; both infinite when their sizes
// or formats (but for the sample type) differ.
struct Difference {
    double largest;
    double mean;
};
[[nodiscard]] Difference differenceBetween(const Image& a, const Image& b);

// Three shots of one scene, 2 EV apart, as JPEGs in the folder.
[[nodiscard]] std::vector<std::filesystem::path> makeBracket(const std::filesystem::path& folder,
                                                             int width, int height, int shots = 3);

// A shot of the sample bracket, 1 to 5.
[[nodiscard]] std::filesystem::path sampleShot(int number);

}  // namespace lumaweave::test
