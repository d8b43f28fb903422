// SPDX-License-Identifier: GPL-3.0-or-later
#include "preview/DetailGeometry.h"

namespace lumaweave {

QPointF imageCoordinates(QPointF click, QPointF frameOrigin, QSizeF bounds,
                         const StackGeometry& stack) {
    const QPointF inView = click - frameOrigin;
    const double viewWidth = bounds.width();
    const double viewHeight = bounds.height();
    const auto viewRatio = static_cast<float>(viewWidth / viewHeight);
    float drawnWidth = 0.0F;
    float drawnHeight = 0.0F;
    float xOffset = 0.0F;
    float yOffset = 0.0F;
    if (viewRatio > stack.aspectRatio) {
        drawnHeight = static_cast<float>(viewHeight);
        drawnWidth = stack.aspectRatio * drawnHeight;
        xOffset = static_cast<float>((viewWidth - static_cast<double>(drawnWidth)) * 0.5);
    } else {
        drawnWidth = static_cast<float>(viewWidth);
        drawnHeight = drawnWidth / stack.aspectRatio;
        yOffset = static_cast<float>((viewHeight - static_cast<double>(drawnHeight)) * 0.5);
    }
    return {static_cast<double>(stack.width) *
                ((inView.x() - static_cast<double>(xOffset)) / static_cast<double>(drawnWidth)),
            static_cast<double>(stack.height) *
                ((inView.y() - static_cast<double>(yOffset)) / static_cast<double>(drawnHeight))};
}

bool isOutsideImage(QPointF coordinates, const StackGeometry& stack) {
    return 0 > coordinates.x() || 0 > coordinates.y() ||
           coordinates.x() >= static_cast<double>(stack.width) ||
           coordinates.y() >= static_cast<double>(stack.height);
}

QRectF cropRectangle(QPointF centre, QSizeF size) {
    return {centre.x() - size.width() * 0.5, centre.y() - size.height() * 0.5, size.width(),
            size.height()};
}

QRectF flipped(const QRectF& rectangle, double height) {
    return {rectangle.x(), height - (rectangle.y() + rectangle.height()), rectangle.width(),
            rectangle.height()};
}

QPointF flipped(QPointF point, double height) {
    return {point.x(), height - point.y()};
}

}  // namespace lumaweave
