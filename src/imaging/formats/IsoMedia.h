// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace lumaweave {

// The files that begin with a box of brands, which name what the file can be read as. Pure.
enum class IsoMedia {
    other,  // a movie, or no such file
    heif,   // HEIC, HEIF, AVIF
    raw     // a camera's raw file
};

// The first brand that is known here decides.
[[nodiscard]] IsoMedia isoMediaOf(std::string_view head);

}  // namespace lumaweave
