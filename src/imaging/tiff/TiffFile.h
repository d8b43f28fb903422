// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>

#include "imaging/picture/Image.h"

namespace lumaweave {

// The picture of an uncompressed TIFF that this program wrote itself (TiffStripWriter), its pixels
// read through a map of the file: they take no private memory, and stay readable when the file is
// unlinked or renamed. None when the file does not have that shape. Never for a user's own file,
// which may shrink under the map. Any thread.
[[nodiscard]] std::optional<Image> mapTiff(const std::filesystem::path& path);

// Whether the fusion tool reads this file exactly as the decoder shows it: one upright page of grey
// or RGB samples (8 or 16-bit integers, 32-bit floats; alpha or not) in strips, not placed on a
// larger canvas. False for whatever is no TIFF. Any thread.
[[nodiscard]] bool fusionToolReadsAsShown(const std::filesystem::path& path);

}  // namespace lumaweave
