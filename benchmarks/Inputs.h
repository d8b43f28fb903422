// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <vector>

namespace lumaweave::bench {

// The photographs that the jobs work on: 24 megapixels each, JPEG.
inline constexpr int photoWidth = 6000;
inline constexpr int photoHeight = 4000;
inline constexpr int differentPhotos = 8;
inline constexpr int mostPhotos = 16;

// Writes a bracket of one scene into the folder. Beyond differentPhotos the files are further names
// of the first ones.
void makePhotos(const std::filesystem::path& folder);

// The first `count` photographs of the folder.
[[nodiscard]] std::vector<std::filesystem::path> photos(const std::filesystem::path& folder,
                                                        int count);

}  // namespace lumaweave::bench
