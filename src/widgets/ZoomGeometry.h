// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QPoint>
#include <QPointF>
#include <QRectF>
#include <QSize>

namespace lumaweave {

// The arithmetic of a zoomed picture in a view. A zoom is a number of device pixels for one pixel
// of the picture; views, positions and zoomed sizes are in whole device pixels, origin at the top
// left, so that at zoom 1 each pixel of the picture is one of the screen. Pure functions; any
// thread.

inline constexpr double largestZoom = 32;

// The zoom at which the whole picture just fits; 1 without a picture or a view.
[[nodiscard]] double fittingZoom(QSize picture, QSize view);

// The zoom after a step by a factor: within what the view allows (from the whole picture, or 1:1
// where that is smaller, to largestZoom), and not past 1:1 without a stop there.
[[nodiscard]] double steppedZoom(double zoom, double factor, double fitting);

// The size of the picture at a zoom; at least 1 each way.
[[nodiscard]] QSize zoomedSize(QSize picture, double zoom);

// Where the zoomed picture's top left lies in the view: moved away by the scrolled distance, or in
// the middle along an axis on which it is smaller than the view.
[[nodiscard]] QPoint pictureOrigin(QSize zoomed, QSize view, QPoint scrolled);

// The point of the picture (in its pixels) at a position of the view, and back.
[[nodiscard]] QPointF picturePoint(QPointF position, QPoint origin, QSize zoomed, QSize picture);
[[nodiscard]] QPointF viewPosition(QPointF point, QPoint origin, QSize zoomed, QSize picture);

// How far to scroll so that a point of the picture comes to lie at a position of the view.
[[nodiscard]] QPoint scrolledFor(QPointF point, QPointF position, QSize zoomed, QSize picture);

}  // namespace lumaweave
