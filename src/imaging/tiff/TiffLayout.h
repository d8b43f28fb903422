// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <cstdint>

#include "imaging/tiff/TiffLibrary.h"

namespace lumaweave {

// How the current page of a TIFF is laid out, in libtiff's terms, and where it lies on its canvas.
// A page that does not say what its samples mean counts as one of a palette.
struct TiffLayout {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t samples = 1;
    std::uint16_t bits = 1;
    std::uint16_t sampleFormat = SAMPLEFORMAT_UINT;
    std::uint16_t photometric = PHOTOMETRIC_PALETTE;
    std::uint16_t planes = PLANARCONFIG_CONTIG;
    std::uint16_t compression = COMPRESSION_NONE;
    std::uint16_t orientation = ORIENTATION_TOPLEFT;
    std::uint16_t extraSamples = 0;
    std::uint16_t extraKind = 0;  // of the first
    float xPosition = 0;
    float yPosition = 0;

    // Whether the colours have been multiplied by the alpha.
    [[nodiscard]] bool isMultiplied() const {
        return extraSamples > 0 && extraKind == EXTRASAMPLE_ASSOCALPHA;
    }
};

// For both: one thread at a time for a file.
[[nodiscard]] TiffLayout tiffLayoutOf(TIFF* tiff);

// The page's colour profile, whatever it is for; empty when there is none.
[[nodiscard]] QByteArray profileIn(TIFF* tiff);

}  // namespace lumaweave
