// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QRect>
#include <vector>

#include "imaging/picture/Image.h"

namespace lumaweave::test {

// How far apart two pictures of one scene lie, measured block by block.

// What is left when the whole picture shrinks evenly until every pixel is opaque in all pictures,
// which have one size.
[[nodiscard]] QRect commonArea(const std::vector<Image>& pictures);

// How far each block (4 rows of 6 over the area) is shifted in `second` against `first`, in pixels,
// by phase correlation of their logarithmic brightness: another exposure changes nothing.
struct BlockShift {
    double x = 0;
    double y = 0;
    [[nodiscard]] double length() const;
};
inline constexpr int blockColumns = 6;
inline constexpr int blockRows = 4;
[[nodiscard]] std::vector<BlockShift> blockShifts(const Image& first, const Image& second,
                                                  const QRect& area);

// How many blocks are shifted by less than this, in pixels.
[[nodiscard]] int blocksWithin(const std::vector<BlockShift>& shifts, double pixels);

// The mean square of the difference between neighbouring pixels' brightness over the area (0 to 1
// for a sample): the finer and clearer the detail, the higher.
[[nodiscard]] double detailEnergy(const Image& picture, const QRect& area);

}  // namespace lumaweave::test
