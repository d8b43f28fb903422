// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QHash>
#include <QImage>
#include <QObject>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <optional>
#include <vector>

#include "imaging/picture/Image.h"

class QPainter;

namespace lumaweave {

// Prepares the visible part of a picture for the screen, in the background, tile by tile: however
// large the picture is, nobody waits for it, and it holds only about as many pixels as the view
// has. Until a tile is there, the tiles of the last size or a coarse overview stand in for it. Main
// thread; one background task at a time.
class ScreenTiles : public QObject {
    Q_OBJECT

  public:
    using QObject::QObject;

    // A null image empties it.
    void setImage(const Image& image);
    [[nodiscard]] const Image& image() const { return image_; }

    // Sets what to show: the picture at `size` device pixels, and the visible rectangle of it.
    void show(QSize size, const QRect& visible);

    // Paints what show() set. The painter's unit is the device pixel, its origin the top left of
    // the picture.
    void paint(QPainter& painter) const;

    // Whether everything visible is there in full sharpness.
    [[nodiscard]] bool isComplete() const;

    // How many pixels it holds.
    [[nodiscard]] long long heldPixels() const;

  Q_SIGNALS:
    // paint() has something new to show.
    void changed();

  private:
    // Tiles on a grid that is as large as the zoomed picture, so that a tile's pixels are those of
    // the screen; from twice the size on, as large as the picture itself, and enlarged in painting.
    struct TileSet {
        QSize grid;
        QHash<QPoint, QImage> tiles;
    };

    [[nodiscard]] QRect tileRectangle(QPoint index, QSize grid) const;
    [[nodiscard]] std::vector<QPoint> indicesIn(const QRect& visible, int margin) const;
    [[nodiscard]] std::vector<QPoint> missingTiles() const;
    void paintTiles(QPainter& painter, const TileSet& set) const;
    void startNext();
    void makeOverview();
    void takeTiles(QSize grid, const std::vector<QPoint>& indices,
                   const std::vector<QImage>& tiles);
    void dropFarTiles();

    Image image_;
    int generation_ = 0;  // of the image: results for an older one are dropped
    bool busy_ = false;
    QSize size_;
    QRect visible_;
    std::optional<QImage> overview_;
    TileSet current_;
    TileSet last_;
};

}  // namespace lumaweave
