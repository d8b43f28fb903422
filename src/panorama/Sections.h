// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace lumaweave {

// How a panorama's pixels are cut into the textures of its sphere. Pure; any thread.

// Pixels of one section: an eighth of the picture's width, a quarter of its height. The rest of the
// division, at the right and the bottom, is not shown.
struct SectionSize {
    int width = 0;
    int height = 0;
};
[[nodiscard]] SectionSize sectionSizeOf(int imageWidth, int imageHeight);

// Copies the section at (row, column) out of the picture's pixels (bytes R, G, B, A; top row first,
// no gaps) as words 0xFFRRGGBB: a panorama is always opaque. `section` takes width x height words.
void copySection(const std::uint32_t* imagePixels, int sourceImageWidth, SectionSize size, int row,
                 int column, std::uint32_t* section);

// The memory in bytes that a viewer takes while it opens: the pixels, one section on its way, and
// the textures, which lie in memory too where there is no graphics card.
[[nodiscard]] std::uint64_t panoramaMemory(int imageWidth, int imageHeight);

}  // namespace lumaweave
