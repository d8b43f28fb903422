// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace lumaweave {

// How the transformations in a HEIF or AVIF file turn its main picture, or the one of that number:
// 1 to 8, as EXIF counts orientations. None where they crop it too, or where the file's structure
// is damaged. Pure; any thread.
[[nodiscard]] std::optional<int> heifOrientation(std::span<const unsigned char> file,
                                                 std::optional<std::uint32_t> item = {});

}  // namespace lumaweave
