// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "imaging/tiff/TiffDirectory.h"

namespace lumaweave {

// What the entries of a TIFF mean, for the files of imaging/tiff that walk through them.

namespace tiff_types {
inline constexpr std::uint16_t shortNumber = 3;
inline constexpr std::uint16_t longNumber = 4;
inline constexpr std::uint16_t directory = 13;
inline constexpr std::uint16_t long8 = 16;
inline constexpr std::uint16_t directory8 = 18;
}  // namespace tiff_types

inline constexpr std::size_t mostTiffPages = 4096;
// Of all directories together.
inline constexpr std::uint64_t mostTiffEntries = 1'000'000;

// Of one number of that type; 0 for an unknown type.
[[nodiscard]] std::uint64_t bytesOfTiffType(std::uint16_t type);

// Sub-images, EXIF, GPS, interoperability.
[[nodiscard]] bool pointsToDirectories(std::uint16_t tag);

// Strips, tiles, free space and the tables of the old way to store JPEG.
[[nodiscard]] bool holdsOffsets(std::uint16_t tag);

// The numbers of an entry; none when they cannot be read.
[[nodiscard]] std::vector<std::uint64_t> numbersIn(const TiffEntry& entry, TiffFormat format,
                                                   const ReadBytes& read);

}  // namespace lumaweave
