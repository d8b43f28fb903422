// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace lumaweave {

// The metadata of a HEIC (HEIF, AVIF) file's main picture as they lie in it, empty where there are
// none. The EXIF is a TIFF structure.
struct HeifMetadata {
    std::vector<unsigned char> exif;
    std::string xmp;
};

// None when the file is of another kind, or damaged. (The metadata library finds such files'
// records only where cameras put them, not where other programs do.) Any thread.
[[nodiscard]] std::optional<HeifMetadata> readHeifMetadata(const std::filesystem::path& path);

}  // namespace lumaweave
