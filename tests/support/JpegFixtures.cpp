// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdio>
// After the C library's header, which it needs.
#include <jpeglib.h>

#include <QImage>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "imaging/formats/VipsLibrary.h"
#include "imaging/picture/PixelData.h"
#include "support/FormatFixtures.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"

namespace lumaweave::test {

namespace fs = std::filesystem;

namespace {

// The smallest EXIF block that names an orientation.
std::string exifBlock(int orientation) {
    return std::string("Exif\0\0II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0", 24) +
           static_cast<char>(orientation) + std::string(7, '\0');
}

void writeProfile(jpeg_compress_struct& jpeg, const QByteArray& profile) {
    if (profile.isEmpty()) return;
    jpeg_write_icc_profile(&jpeg, reinterpret_cast<const JOCTET*>(profile.constData()),
                           static_cast<unsigned>(profile.size()));
}

}  // namespace

void writeJpeg(const Image& image, const fs::path& path, const JpegShape& shape) {
    const PixelData& pixels = image.pixels();
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) throw std::runtime_error("the JPEG could not be written");
    jpeg_stdio_dest(&jpeg, file);
    jpeg.image_width = static_cast<JDIMENSION>(pixels.width);
    jpeg.image_height = static_cast<JDIMENSION>(pixels.height);
    jpeg.input_components = pixels.format.samples();
    jpeg.in_color_space = shape.inks                   ? JCS_CMYK
                          : pixels.format.colours == 3 ? JCS_RGB
                                                       : JCS_GRAYSCALE;
    jpeg_set_defaults(&jpeg);
    if (shape.luminanceOfInks) jpeg_set_colorspace(&jpeg, JCS_YCCK);
    jpeg_set_quality(&jpeg, shape.quality, TRUE);
    for (int i = 0; i < jpeg.num_components; ++i)
        jpeg.comp_info[i].h_samp_factor = jpeg.comp_info[i].v_samp_factor = 1;
    if (shape.progressive) jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    if (shape.orientation != 1) {
        const std::string exif = exifBlock(shape.orientation);
        jpeg_write_marker(&jpeg, JPEG_APP0 + 1, reinterpret_cast<const JOCTET*>(exif.data()),
                          static_cast<unsigned>(exif.size()));
    }
    writeProfile(jpeg, pixels.colourProfile);
    for (int y = 0; y < pixels.height; ++y) {
        const auto* row = pixels.row<unsigned char>(y);
        std::vector<unsigned char> line(row, row + pixels.bytesPerRow());
        // Programs that write inks write them upside down.
        for (unsigned char& sample : line)
            sample = shape.inks ? static_cast<unsigned char>(255 - sample) : sample;
        JSAMPROW rows[] = {line.data()};
        jpeg_write_scanlines(&jpeg, rows, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    std::fclose(file);
}

void writePngWithKeyColour(const Image& image, const fs::path& path,
                           const std::array<unsigned char, 3>& colour) {
    vipsImage(image).pngsave(path.c_str());
    std::string bytes = readFile(path);
    std::string chunk = "tRNS";
    for (const unsigned char sample : colour)
        chunk += {'\0', static_cast<char>(sample)};
    std::uint32_t crc = 0xFFFFFFFFU;
    for (const char c : chunk) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
    }
    crc = ~crc;
    chunk.insert(0, std::string("\0\0\0\x06", 4));
    for (int shift = 24; shift >= 0; shift -= 8)
        chunk += static_cast<char>(crc >> shift & 0xFFU);
    bytes.insert(bytes.find("IDAT") - 4, chunk);
    std::ofstream(path, std::ios::binary) << bytes;
}

Image turnedFor(int orientation, const Image& upright) {
    const PixelData& from = upright.pixels();
    const bool exchanged = orientation >= 5;
    PixelBuffer buffer(exchanged ? from.height : from.width, exchanged ? from.width : from.height,
                       from.format);
    buffer.description().colourProfile = from.colourProfile;
    const int right = from.width - 1;
    const int bottom = from.height - 1;
    const auto size = static_cast<std::size_t>(from.format.bytesPerPixel());
    const PixelData& to = buffer.description();
    for (int y = 0; y < to.height; ++y) {
        for (int x = 0; x < to.width; ++x) {
            int fromX = exchanged ? y : x;
            int fromY = exchanged ? x : y;
            // The first column and row of the file lie at these sides of the picture.
            if (orientation == 2 || orientation == 3) fromX = right - x;
            if (orientation == 3 || orientation == 4) fromY = bottom - y;
            if (orientation == 6 || orientation == 7) fromX = right - y;
            if (orientation == 7 || orientation == 8) fromY = bottom - x;
            const auto* pixel = from.row<std::byte>(fromY) + static_cast<std::size_t>(fromX) * size;
            std::copy_n(pixel, size, buffer.row<std::byte>(y) + static_cast<std::size_t>(x) * size);
        }
    }
    return std::move(buffer).finish();
}

}  // namespace lumaweave::test
