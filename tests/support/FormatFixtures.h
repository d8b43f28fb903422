// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <array>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

#include "imaging/picture/Image.h"

namespace lumaweave::test {

// Writers of picture files that libvips' own savers cannot write. Pictures carry their profile;
// every writer throws when it fails.

// The same pixels with this profile.
[[nodiscard]] Image withProfile(const Image& image, const QByteArray& profile);

// What a file of this orientation stores, for an upright picture.
[[nodiscard]] Image turnedFor(int orientation, const Image& upright);

struct JpegShape {
    int quality = 98;
    bool progressive = false;
    bool inks = false;             // the picture's four samples are cyan, magenta, yellow, black
    bool luminanceOfInks = false;  // stored as YCCK
    int orientation = 1;
};
void writeJpeg(const Image& image, const std::filesystem::path& path, const JpegShape& shape);

// A PNG whose pixels of one colour (as 8-bit numbers) are transparent without an alpha sample.
void writePngWithKeyColour(const Image& image, const std::filesystem::path& path,
                           const std::array<unsigned char, 3>& colour);

struct HeifShape {
    bool av1 = false;
    int bits = 8;
    int orientation = 1;                      // as the file's own transformation
    std::optional<int> exifOrientation = {};  // as EXIF
    std::optional<int> primaries = {};        // by number; for AV1 of 10 bits alone
};
// Without loss but for the conversion to luminance and back. Deep pictures are of 16 bit.
void writeHeif(const Image& image, const std::filesystem::path& path, const HeifShape& shape);

// Without loss; the depth is the picture's. Floats: linear light where the picture has no profile.
void writeJxl(const Image& image, const std::filesystem::path& path, int orientation = 1);

struct Jpeg2000Shape {
    int bits = 8;
    bool codestreamOnly = false;
    bool luminance = false;  // stored as luminance and colour differences
};
// Without loss. Deep pictures are of 16 bit.
void writeJpeg2000(const Image& image, const std::filesystem::path& path,
                   const Jpeg2000Shape& shape);

struct ExrShape {
    bool half = false;
    bool tiled = false;
    // How far the stored pixels reach out of the picture, or stay inside (negative), on every side.
    int overscan = 0;
    std::vector<float> chromaticities = {};  // red, green, blue, white: x, y each
};
// The floats as they are: linear light, colours multiplied by alpha.
void writeExr(const Image& image, const std::filesystem::path& path, const ExrShape& shape);

// The floats as linear light, each pixel's samples with a common exponent; not compressed. axes:
// "-Y +X" and the like, for pixels in this order.
void writeRadiance(const Image& image, const std::filesystem::path& path,
                   const char* axes = "-Y +X");

struct DngShape {
    int orientation = 1;
    std::array<double, 3> neutral = {1, 1, 1};  // what the camera saw of white
    bool withSmallPicture = true;
};
constexpr int dngBlack = 256;
constexpr int dngWhite = 16383;
// A camera's mosaic (red, green / green, blue): light 0 to 1 of the sensor's own colours, which are
// those of sRGB.
void writeDng(int width, int height, const std::function<double(int x, int y, int colour)>& light,
              const std::filesystem::path& path, const DngShape& shape);

// Well-known colour spaces, which the colour library makes.
struct RgbSpace {
    const char* name;
    std::array<double, 6> primaries;  // x, y of red, green and blue
    std::array<double, 2> white;
    double gamma;  // 0: the curve of sRGB
};
inline constexpr RgbSpace srgbSpace = {
    "sRGB", {0.64, 0.33, 0.30, 0.60, 0.15, 0.06}, {0.3127, 0.3290}, 0};
inline constexpr RgbSpace adobeRgbSpace = {
    "Adobe RGB", {0.64, 0.33, 0.21, 0.71, 0.15, 0.06}, {0.3127, 0.3290}, 563.0 / 256};
inline constexpr RgbSpace proPhotoSpace = {
    "ProPhoto RGB", {0.7347, 0.2653, 0.1596, 0.8404, 0.0366, 0.0001}, {0.3457, 0.3585}, 1.8};
inline constexpr RgbSpace displayP3Space = {
    "Display P3", {0.680, 0.320, 0.265, 0.690, 0.150, 0.060}, {0.3127, 0.3290}, 0};
[[nodiscard]] QByteArray profileOf(const RgbSpace& space);
[[nodiscard]] QByteArray greyProfileOf(double gamma);
// The RGB profile whose values are proportional to light.
[[nodiscard]] QByteArray linearProfileOf(const RgbSpace& space);

// What a colour of that space is in sRGB, computed by hand: linear light, CIE XYZ, Bradford's
// adaptation to sRGB's white, sRGB's curve. Not clipped to what sRGB holds.
[[nodiscard]] std::array<double, 3> inSrgb(const RgbSpace& space,
                                           const std::array<double, 3>& colour);
// sRGB's curve and its inverse.
[[nodiscard]] double srgbEncoded(double light);
[[nodiscard]] double srgbDecoded(double value);

}  // namespace lumaweave::test
