// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "Exposure.h"

namespace lumaweave {

/// Encodes a picture as a JPEG in memory. Throws std::runtime_error where the encoder fails.
std::vector<std::uint8_t> encodeJpeg(const PixelImage& image, int quality);

}  // namespace lumaweave
