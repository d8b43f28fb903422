// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "Exposure.h"

namespace lumaweave {

/// Returns the JPEG with the tags a camera would have written for this shot. Throws
/// std::runtime_error where they cannot be written.
std::vector<std::uint8_t> withExif(const std::vector<std::uint8_t>& jpeg, const Shot& shot,
                                   int width, int height, double fovDegrees);

}  // namespace lumaweave
