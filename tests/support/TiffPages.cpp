// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/TiffPages.h"

#include <tiffio.h>

#include <cstdint>

namespace lumaweave::test {

namespace {

std::vector<std::byte> pixelsOfPage(TIFF* tiff) {
    const bool tiled = TIFFIsTiled(tiff) != 0;
    const std::uint32_t pieces = tiled ? TIFFNumberOfTiles(tiff) : TIFFNumberOfStrips(tiff);
    const tmsize_t pieceBytes = tiled ? TIFFTileSize(tiff) : TIFFStripSize(tiff);
    std::vector<std::byte> pixels;
    std::vector<std::byte> piece(static_cast<std::size_t>(pieceBytes));
    for (std::uint32_t i = 0; i < pieces; ++i) {
        const tmsize_t got = tiled ? TIFFReadEncodedTile(tiff, i, piece.data(), pieceBytes)
                                   : TIFFReadEncodedStrip(tiff, i, piece.data(), pieceBytes);
        if (got < 0) return {};
        pixels.insert(pixels.end(), piece.begin(), piece.begin() + got);
    }
    return pixels;
}

}  // namespace

std::vector<std::vector<std::byte>> tiffPages(const std::filesystem::path& file) {
    std::vector<std::vector<std::byte>> pages;
    TIFF* tiff = TIFFOpen(file.c_str(), "rm");
    if (tiff == nullptr) return pages;
    do
        pages.push_back(pixelsOfPage(tiff));
    while (TIFFReadDirectory(tiff) != 0);
    TIFFClose(tiff);
    return pages;
}

}  // namespace lumaweave::test
