// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

#include "imaging/decoding/ImageDecoder.h"

namespace lumaweave {

// The decoder itself, in the process that calls: what ImageDecoder.h promises, whatever a hostile
// file makes the libraries do. For the functions of ImageDecoder.h, which choose the process, and
// for the reader, which is the other one.

[[nodiscard]] DecodedFile decodeToTiffHere(const std::filesystem::path& path,
                                           const std::filesystem::path& tiffPath);
Outcome isDecodableHere(const std::filesystem::path& path);
// isDecodableHere without any format's last resort, which is for the reader alone.
Outcome isQuicklyDecodableHere(const std::filesystem::path& path);
Outcome isWhollyDecodableHere(const std::filesystem::path& path);
[[nodiscard]] Image decodeImageHere(const std::filesystem::path& path);

}  // namespace lumaweave
