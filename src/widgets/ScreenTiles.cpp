// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/ScreenTiles.h"

#include <QPainter>
#include <QPointer>
#include <algorithm>
#include <cmath>
#include <utility>

#include "imaging/picture/ScreenParts.h"
#include "platform/Threads.h"

namespace lumaweave {

namespace {

constexpr int tileSide = 256;
// How many tiles around the visible ones it makes ahead, and keeps.
constexpr int tilesAhead = 1;
constexpr int tilesKept = 3;
// From this enlargement on, the user wants to see single pixels.
constexpr int plainEnlargement = 2;
// One task makes at most so many tiles, of at most so many pixels of the picture: what is wanted
// may have changed when it ends.
constexpr std::size_t mostTilesAtATime = 24;
constexpr double mostPixelsAtATime = 6e6;
constexpr int overviewSide = 1024;

QPointF ratio(QSize a, QSize b) {
    return {static_cast<double>(a.width()) / b.width(),
            static_cast<double>(a.height()) / b.height()};
}

// Rounds each edge on its own to whole pixels, so that neighbours stay neighbours.
QRect enlarged(const QRect& rectangle, QPointF scale) {
    const auto edge = [](int position, double factor) {
        return static_cast<int>(std::lround(position * factor));
    };
    return {QPoint(edge(rectangle.x(), scale.x()), edge(rectangle.y(), scale.y())),
            QPoint(edge(rectangle.x() + rectangle.width(), scale.x()) - 1,
                   edge(rectangle.y() + rectangle.height(), scale.y()) - 1)};
}

QRectF scaledArea(const QRect& rectangle, QPointF scale) {
    return {rectangle.x() * scale.x(), rectangle.y() * scale.y(), rectangle.width() * scale.x(),
            rectangle.height() * scale.y()};
}

// Draws a picture, or only the visible part of a much enlarged one: far outside, the painter's
// coordinates come to an end.
void drawVisible(QPainter& painter, const QRect& target, const QImage& picture,
                 const QRect& visible) {
    constexpr int longest = 16'384;
    if (std::max(target.width(), target.height()) <= longest) {
        painter.drawImage(target, picture);
        return;
    }
    const QRect shown = target & visible;
    const QPointF scale = ratio(picture.size(), target.size());
    painter.drawImage(QRectF(shown), picture,
                      scaledArea(shown.translated(-target.topLeft()), scale));
}

}  // namespace

void ScreenTiles::setImage(const Image& image) {
    image_ = image;
    ++generation_;
    size_ = {};
    visible_ = {};
    overview_.reset();
    current_ = {};
    last_ = {};
    Q_EMIT changed();
}

void ScreenTiles::show(QSize size, const QRect& visible) {
    if (image_.isNull() || size.isEmpty()) return;
    const QSize picture(image_.pixelsWide(), image_.pixelsHigh());
    const bool plain = size.width() >= plainEnlargement * picture.width();
    const QSize grid = plain ? picture : size;
    if (grid != current_.grid) {
        // A complete set stands in for the new tiles; else the set before it goes on doing so.
        if (isComplete()) last_ = std::exchange(current_, {});
        current_ = {grid, {}};
    }
    size_ = size;
    visible_ = visible & QRect(QPoint(0, 0), size);
    if (isComplete()) last_ = {};
    startNext();
}

QRect ScreenTiles::tileRectangle(QPoint index, QSize grid) const {
    return QRect(index * tileSide, QSize(tileSide, tileSide)) & QRect(QPoint(0, 0), grid);
}

// The tiles of the current grid that a rectangle of the zoomed picture touches.
std::vector<QPoint> ScreenTiles::indicesIn(const QRect& visible, int margin) const {
    std::vector<QPoint> indices;
    if (visible.isEmpty()) return indices;
    const QRectF area = scaledArea(visible, ratio(current_.grid, size_));
    const auto first = [margin](double edge) {
        return std::max(0, static_cast<int>(std::floor(edge / tileSide)) - margin);
    };
    const auto last = [margin](double edge, int length) {
        const int index = static_cast<int>(std::ceil(edge / tileSide)) - 1;
        return std::min((length - 1) / tileSide, index + margin);
    };
    const int right = last(area.right(), current_.grid.width());
    const int bottom = last(area.bottom(), current_.grid.height());
    for (int y = first(area.top()); y <= bottom; ++y) {
        for (int x = first(area.left()); x <= right; ++x)
            indices.emplace_back(x, y);
    }
    return indices;
}

// Visible ones first, from the middle outwards.
std::vector<QPoint> ScreenTiles::missingTiles() const {
    std::vector<QPoint> missing;
    const QPointF middle =
        scaledArea(visible_, ratio(current_.grid, size_)).center() / tileSide - QPointF(0.5, 0.5);
    const auto byDistance = [&middle](QPoint a, QPoint b) {
        const QPointF toA = a - middle;
        const QPointF toB = b - middle;
        return QPointF::dotProduct(toA, toA) < QPointF::dotProduct(toB, toB);
    };
    for (const int margin : {0, tilesAhead}) {
        for (const QPoint index : indicesIn(visible_, margin)) {
            if (!current_.tiles.contains(index)) missing.push_back(index);
        }
        std::sort(missing.begin(), missing.end(), byDistance);
        if (!missing.empty()) break;
    }
    return missing;
}

bool ScreenTiles::isComplete() const {
    const std::vector<QPoint> indices = indicesIn(visible_, 0);
    return !indices.empty() && std::all_of(indices.begin(), indices.end(), [this](QPoint index) {
        return current_.tiles.contains(index);
    });
}

long long ScreenTiles::heldPixels() const {
    const QSize overview = overview_ ? overview_->size() : QSize(0, 0);
    long long pixels = static_cast<long long>(overview.width()) * overview.height();
    for (const TileSet* set : {&current_, &last_}) {
        for (const QImage& tile : set->tiles)
            pixels += static_cast<long long>(tile.width()) * tile.height();
    }
    return pixels;
}

void ScreenTiles::paintTiles(QPainter& painter, const TileSet& set) const {
    const QPointF scale = ratio(size_, set.grid);
    for (auto tile = set.tiles.begin(); tile != set.tiles.end(); ++tile) {
        const QRect target = enlarged(tileRectangle(tile.key(), set.grid), scale);
        if (target.intersects(visible_)) drawVisible(painter, target, tile.value(), visible_);
    }
}

void ScreenTiles::paint(QPainter& painter) const {
    if (visible_.isEmpty()) return;
    if (!isComplete()) {
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        if (overview_) drawVisible(painter, QRect(QPoint(0, 0), size_), *overview_, visible_);
        painter.setRenderHint(QPainter::SmoothPixmapTransform, false);
        if (!last_.tiles.isEmpty()) paintTiles(painter, last_);
    }
    paintTiles(painter, current_);
}

void ScreenTiles::startNext() {
    if (busy_ || visible_.isEmpty()) return;
    if (!overview_) {
        makeOverview();
        return;
    }
    std::vector<QPoint> indices;
    std::vector<ScreenPart> parts;
    const QPointF scale = ratio(QSize(image_.pixelsWide(), image_.pixelsHigh()), current_.grid);
    double pixels = 0;
    for (const QPoint index : missingTiles()) {
        const QRect tile = tileRectangle(index, current_.grid);
        const QRectF area = scaledArea(tile, scale);
        pixels += area.width() * area.height();
        const bool enough = parts.size() == mostTilesAtATime || pixels > mostPixelsAtATime;
        if (enough && !parts.empty()) break;
        indices.push_back(index);
        parts.push_back({area, tile.size()});
    }
    if (parts.empty()) return;
    busy_ = true;
    performInBackground([self = QPointer(this), image = image_, generation = generation_,
                         grid = current_.grid, indices, parts] {
        const std::vector<QImage> tiles = screenParts(image, parts);
        performOnMainThread(
            [self, generation, grid, indices, tiles] {
                if (self.isNull()) return;
                self->busy_ = false;
                if (generation == self->generation_) self->takeTiles(grid, indices, tiles);
                self->startNext();
            },
            Wait::no);
    });
}

void ScreenTiles::makeOverview() {
    busy_ = true;
    performInBackground([self = QPointer(this), image = image_, generation = generation_] {
        const QSize size = QSize(image.pixelsWide(), image.pixelsHigh())
                               .scaled(overviewSide, overviewSide, Qt::KeepAspectRatio)
                               .expandedTo(QSize(1, 1));
        const QImage overview = image.thinned(size.width(), size.height())
                                    .toScreen()
                                    .convertToFormat(QImage::Format_ARGB32_Premultiplied);
        performOnMainThread(
            [self, generation, overview] {
                if (self.isNull()) return;
                self->busy_ = false;
                if (generation == self->generation_) {
                    self->overview_ = overview;
                    Q_EMIT self->changed();
                }
                self->startNext();
            },
            Wait::no);
    });
}

void ScreenTiles::takeTiles(QSize grid, const std::vector<QPoint>& indices,
                            const std::vector<QImage>& tiles) {
    if (grid != current_.grid) return;
    for (std::size_t i = 0; i < indices.size(); ++i)
        current_.tiles.insert(indices[i], tiles[i]);
    dropFarTiles();
    if (isComplete()) last_ = {};
    Q_EMIT changed();
}

void ScreenTiles::dropFarTiles() {
    const std::vector<QPoint> kept = indicesIn(visible_, tilesKept);
    if (current_.tiles.size() <= static_cast<qsizetype>(kept.size())) return;
    current_.tiles.removeIf([&kept](QHash<QPoint, QImage>::iterator tile) {
        return std::find(kept.begin(), kept.end(), tile.key()) == kept.end();
    });
}

}  // namespace lumaweave
