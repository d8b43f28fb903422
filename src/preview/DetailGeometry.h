// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QPointF>
#include <QRectF>
#include <QSizeF>

namespace lumaweave {

// The arithmetic between a click in the preview and the crop of the detail view. View and image
// coordinates have their origin at the bottom left, y upward; image coordinates count points of the
// stack's images. Pure functions; any thread.

// What the click mapping knows of the images.
struct StackGeometry {
    float width = 0.0F;
    float height = 0.0F;
    float aspectRatio = 1.0F;
};

// The image coordinates of a click. The preview fills the view's height when the view, its ratio
// rounded to single precision, is wider than the image, else its width, and is centred. Points
// beside the picture get coordinates outside the image; a view without a size gives coordinates
// that are no numbers.
[[nodiscard]] QPointF imageCoordinates(QPointF click, QPointF frameOrigin, QSizeF bounds,
                                       const StackGeometry& stack);

// Whether the coordinates lie outside the image. The left and bottom edges belong to it, the right
// and top edges do not; coordinates that are no numbers are not outside.
[[nodiscard]] bool isOutsideImage(QPointF coordinates, const StackGeometry& stack);

// The rectangle of the given size around a point.
[[nodiscard]] QRectF cropRectangle(QPointF centre, QSizeF size);

// The one place where bottom-left coordinates become Qt's top-left ones, and back: within something
// of this height. The rectangle's y is its lower edge before and its upper edge after.
[[nodiscard]] QRectF flipped(const QRectF& rectangle, double height);
[[nodiscard]] QPointF flipped(QPointF point, double height);

}  // namespace lumaweave
