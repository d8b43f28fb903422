// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "imaging/picture/Image.h"

namespace lumaweave {

struct PixelData;

// The picture at another pixel size (both at least 1): the mean of the covered area along an axis
// that shrinks, linear interpolation along one that grows. Colours count by their alpha, so that
// transparent pixels do not darken or tint an edge. Any thread.
[[nodiscard]] Image scaledPixels(const PixelData& source, int width, int height);

// The same for the part of the picture inside an area (pixels, fractions count; it lies within the
// picture), at width x height pixels. Reads only what the area covers, but interpolates across its
// edge along an axis that grows: neighbouring parts join without a seam. Any thread.
[[nodiscard]] Image scaledPart(const PixelData& source, const QRectF& area, int width, int height);

}  // namespace lumaweave
