// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

#include "imaging/picture/PixelData.h"

namespace lumaweave {

// Turning pictures as their orientation asks (1 to 8, as EXIF counts it). Pure; any thread.

// The picture's description once it is upright, without pixels.
[[nodiscard]] PixelData uprightDescription(const PixelData& sideways, int orientation);

// Gives the upright picture's rows from top to bottom, stripRows at a time. False when take has
// returned false, which stops it.
bool readUprightRows(const PixelData& sideways, int orientation, int stripRows,
                     const std::function<bool(const void* rows, int rowCount)>& take);

}  // namespace lumaweave
