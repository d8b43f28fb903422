// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <vector>

#include "imaging/picture/Image.h"

namespace lumaweave {

// What must be done to samples that a library gives otherwise than pictures here hold them.
struct SampleChanges {
    bool isLab = false;     // floats, three a pixel, whatever the picture's type
    bool isLinear = false;  // light instead of display values
    bool isYcc = false;     // luminance and colour differences
    unsigned highest = 0;   // what stands for white, where that is not the type's own highest

    [[nodiscard]] bool any() const { return isLab || isLinear || isYcc || highest != 0; }

    // Changes so many pixels, which become pixels of that format. Any thread.
    void apply(std::vector<std::byte>& rows, std::size_t pixels, const PixelFormat& format) const;
};

}  // namespace lumaweave
