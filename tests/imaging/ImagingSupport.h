// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "imaging/picture/Image.h"
#include "support/Pictures.h"

namespace lumaweave::test {

// A picture without any symmetry, the same for every call.
[[nodiscard]] Image asymmetricPicture(int width, int height, const PixelFormat& format = {});

// The pixels of a libvips picture of 8 or 16-bit integers or floats.
[[nodiscard]] Image imageOf(const vips::VImage& picture);

// Every picture format there is.
[[nodiscard]] std::vector<PixelFormat> everyFormat();
[[nodiscard]] std::string nameOf(const PixelFormat& format);

// Colour profiles that come with libvips: "srgb", "p3" and "cmyk".
[[nodiscard]] QByteArray builtInProfile(const std::string& name);

// Profiles made on the spot, for the tone curve "value to the power of gamma".
struct Colourants {
    double red[3];
    double green[3];
    double blue[3];
};
[[nodiscard]] QByteArray rgbProfile(const Colourants& colourants, double gamma);
[[nodiscard]] QByteArray greyProfile(double gamma);

// How to write a TIFF, other than plainly.
struct TiffShape {
    const char* mode = "w";  // libtiff's: "wb" big-endian, "w8" with 64-bit offsets
    std::uint16_t compression = 1;
    bool tiled = false;
    bool separatePlanes = false;
    std::uint16_t orientation = 1;
    std::optional<std::uint16_t> photometric = std::nullopt;
    std::optional<std::uint16_t> sampleFormat = std::nullopt;
    std::uint16_t kindOfAlpha = 2;  // not associated
    std::optional<float> xPosition = std::nullopt;
    std::optional<float> yPosition = std::nullopt;
    std::optional<float> pixelsPerInch = std::nullopt;
    int pages = 1;  // those after the first are black
    bool description = false;
};
void writeTiffAs(const Image& stored, const std::filesystem::path& path, const TiffShape& shape);
// A palette of 256 colours: index i is (i, 255 - i, i / 2). The picture is grey, 8 bit.
void writePaletteTiff(const Image& indices, const std::filesystem::path& path);

// The tags of the first page of a TIFF as this machine writes it, with 32-bit offsets.
[[nodiscard]] std::vector<int> tagsOf(const std::filesystem::path& path);
// Sets the value of a tag that holds one 16-bit number in such a file.
void changeTag(const std::filesystem::path& path, int tag, std::uint16_t value);

}  // namespace lumaweave::test
