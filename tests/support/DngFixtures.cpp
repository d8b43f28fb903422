// SPDX-License-Identifier: GPL-3.0-or-later
#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "imaging/formats/VipsLibrary.h"
#include "support/FormatFixtures.h"

namespace lumaweave::test {

namespace {

constexpr std::uint32_t mosaicPhotometric = 32803;

void describeCamera(TIFF* tiff, const DngShape& shape) {
    const unsigned char version[] = {1, 4, 0, 0};
    const unsigned char oldest[] = {1, 1, 0, 0};
    TIFFSetField(tiff, TIFFTAG_DNGVERSION, version);
    TIFFSetField(tiff, TIFFTAG_DNGBACKWARDVERSION, oldest);
    TIFFSetField(tiff, TIFFTAG_MAKE, "Test");
    TIFFSetField(tiff, TIFFTAG_MODEL, "Mosaic");
    TIFFSetField(tiff, TIFFTAG_UNIQUECAMERAMODEL, "Test Mosaic");
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, shape.orientation);
    // From XYZ to the sensor's colours, which are sRGB's.
    const float matrix[] = {3.2404542F, -1.5371385F, -0.4985314F, -0.9692660F, 1.8760108F,
                            0.0415560F, 0.0556434F,  -0.2040259F, 1.0572252F};
    TIFFSetField(tiff, TIFFTAG_COLORMATRIX1, 9, matrix);
    TIFFSetField(tiff, TIFFTAG_CALIBRATIONILLUMINANT1, 21);  // D65
    const float neutral[] = {static_cast<float>(shape.neutral[0]),
                             static_cast<float>(shape.neutral[1]),
                             static_cast<float>(shape.neutral[2])};
    TIFFSetField(tiff, TIFFTAG_ASSHOTNEUTRAL, 3, neutral);
}

void setSize(TIFF* tiff, int width, int height, int samples, int bits, std::uint32_t photometric) {
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(width));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(height));
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, samples);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, bits);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, photometric);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(height));
}

// The main directory, with the picture that browsers show: magenta, so that it is recognised.
void writeSmallPicture(TIFF* tiff) {
    constexpr int side = 16;
    TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, FILETYPE_REDUCEDIMAGE);
    setSize(tiff, side, side, 3, 8, PHOTOMETRIC_RGB);
    std::vector<unsigned char> pixels;
    for (int i = 0; i < side * side; ++i)
        pixels.insert(pixels.end(), {255, 0, 255});
    TIFFWriteEncodedStrip(tiff, 0, pixels.data(), static_cast<tmsize_t>(pixels.size()));
}

void writeMosaic(TIFF* tiff, int width, int height,
                 const std::function<double(int x, int y, int colour)>& light) {
    TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, 0);
    setSize(tiff, width, height, 1, 16, mosaicPhotometric);
    const std::uint16_t dimensions[] = {2, 2};
    const unsigned char pattern[] = {0, 1, 1, 2};
    TIFFSetField(tiff, TIFFTAG_CFAREPEATPATTERNDIM, dimensions);
    TIFFSetField(tiff, TIFFTAG_CFAPATTERN, 4, pattern);
    const float black[] = {dngBlack};
    const std::uint32_t white[] = {dngWhite};
    TIFFSetField(tiff, TIFFTAG_BLACKLEVEL, 1, black);
    TIFFSetField(tiff, TIFFTAG_WHITELEVEL, 1, white);
    std::vector<std::uint16_t> values;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double sensor = light(x, y, x % 2 + y % 2) * (dngWhite - dngBlack) + dngBlack;
            values.push_back(
                static_cast<std::uint16_t>(std::clamp(std::lround(sensor), 0L, 16383L)));
        }
    }
    TIFFWriteEncodedStrip(tiff, 0, values.data(), static_cast<tmsize_t>(values.size() * 2));
}

}  // namespace

void writeDng(int width, int height, const std::function<double(int x, int y, int colour)>& light,
              const std::filesystem::path& path, const DngShape& shape) {
    startVips();
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    if (tiff == nullptr) throw std::runtime_error("the DNG could not be written");
    describeCamera(tiff, shape);
    bool written = true;
    if (shape.withSmallPicture) {
        toff_t children[] = {0};
        TIFFSetField(tiff, TIFFTAG_SUBIFD, 1, children);
        writeSmallPicture(tiff);
        written = TIFFWriteDirectory(tiff) == 1;  // the child comes next
    }
    writeMosaic(tiff, width, height, light);
    written = written && TIFFWriteDirectory(tiff) == 1;
    TIFFClose(tiff);
    if (!written) throw std::runtime_error("the DNG could not be written");
}

}  // namespace lumaweave::test
