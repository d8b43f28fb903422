// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/ZoomGeometry.h"

#include <algorithm>
#include <cmath>

namespace lumaweave {

namespace {

QPointF scaleOf(QSize zoomed, QSize picture) {
    return {static_cast<double>(zoomed.width()) / std::max(1, picture.width()),
            static_cast<double>(zoomed.height()) / std::max(1, picture.height())};
}

}  // namespace

double fittingZoom(QSize picture, QSize view) {
    if (picture.isEmpty() || view.isEmpty()) return 1;
    return std::min(static_cast<double>(view.width()) / picture.width(),
                    static_cast<double>(view.height()) / picture.height());
}

double steppedZoom(double zoom, double factor, double fitting) {
    double next = zoom * factor;
    if ((zoom < 1 && next > 1) || (zoom > 1 && next < 1)) next = 1;
    return std::clamp(next, std::min(fitting, 1.0), std::max(fitting, largestZoom));
}

QSize zoomedSize(QSize picture, double zoom) {
    return {std::max(1, static_cast<int>(std::lround(picture.width() * zoom))),
            std::max(1, static_cast<int>(std::lround(picture.height() * zoom)))};
}

QPoint pictureOrigin(QSize zoomed, QSize view, QPoint scrolled) {
    const auto along = [](int length, int room, int distance) {
        return length < room ? (room - length) / 2 : -distance;
    };
    return {along(zoomed.width(), view.width(), scrolled.x()),
            along(zoomed.height(), view.height(), scrolled.y())};
}

QPointF picturePoint(QPointF position, QPoint origin, QSize zoomed, QSize picture) {
    const QPointF scale = scaleOf(zoomed, picture);
    return {(position.x() - origin.x()) / scale.x(), (position.y() - origin.y()) / scale.y()};
}

QPointF viewPosition(QPointF point, QPoint origin, QSize zoomed, QSize picture) {
    const QPointF scale = scaleOf(zoomed, picture);
    return {point.x() * scale.x() + origin.x(), point.y() * scale.y() + origin.y()};
}

QPoint scrolledFor(QPointF point, QPointF position, QSize zoomed, QSize picture) {
    return (viewPosition(point, {}, zoomed, picture) - position).toPoint();
}

}  // namespace lumaweave
