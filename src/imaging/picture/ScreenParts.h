// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QRectF>
#include <QSize>
#include <vector>

namespace lumaweave {

class Image;

// A part of a picture and the size at which it is wanted.
struct ScreenPart {
    QRectF area;  // pixels of the picture, fractions count; within the picture
    QSize pixels;
};

// The parts in the colours of the screen, in a format that is painted fast. All of them cost one
// set-up of the profile's conversion, which takes longer than a small part's pixels do. Parts of
// one size join without a seam. An empty part, or one of a null picture, gives a null image. Any
// thread.
[[nodiscard]] std::vector<QImage> screenParts(const Image& image,
                                              const std::vector<ScreenPart>& parts);

}  // namespace lumaweave
