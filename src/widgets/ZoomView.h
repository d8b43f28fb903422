// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QAbstractScrollArea>
#include <QPoint>
#include <QPointF>
#include <QSize>

#include "imaging/picture/Image.h"

namespace lumaweave {

class ScreenTiles;

// Shows a picture of any size, in the colours of the screen: as large as fits, or at a zoom, with
// scroll bars. The wheel zooms about the pointer, dragging moves the picture, a double click goes
// from the whole picture to 1:1 at that spot and back, the arrow keys scroll. A zoom is a number of
// device pixels for one pixel of the picture, whatever the screen's scale factor. Main thread; a
// background task makes the pixels ready.
class ZoomView : public QAbstractScrollArea {
    Q_OBJECT

  public:
    explicit ZoomView(QWidget* parent = nullptr);
    ~ZoomView() override;

    // Shows the whole picture. A null image empties the view.
    void setImage(const Image& image);
    [[nodiscard]] const Image& image() const;

    [[nodiscard]] double zoom() const { return zoom_; }
    // Whether the zoom follows the size of the view, and so shows the whole picture.
    [[nodiscard]] bool isFitted() const { return fitted_; }
    // Whether all that is visible is there in full sharpness.
    [[nodiscard]] bool isSharp() const;
    // How many pixels the view holds ready.
    [[nodiscard]] long long heldPixels() const;

    void zoomToFit();
    void zoomToActualSize();
    void zoomIn();
    void zoomOut();
    // The spot of the picture at a position (points of the viewport) stays where it is, as far as
    // the picture reaches.
    void zoomTo(double zoom, QPointF position);
    void toggleFit(QPointF position);

    // The point of the picture, in its pixels, at a position (points of the viewport).
    [[nodiscard]] QPointF imagePointAt(QPointF position) const;

    [[nodiscard]] QSize sizeHint() const override { return {900, 640}; }

  Q_SIGNALS:
    // The zoom, or whether it is the fitting one.
    void zoomChanged();
    void imageChanged();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

  private:
    [[nodiscard]] QSize pictureSize() const;
    [[nodiscard]] QSize zoomed() const;
    // In device pixels.
    [[nodiscard]] QSize viewSize() const;
    [[nodiscard]] double fitting() const;
    [[nodiscard]] QPoint scrolled() const;
    [[nodiscard]] QPoint origin() const;

    void layOut();
    void scrollTo(QPoint distance);
    void showVisible();
    void updateCursor();
    void stepZoom(double factor, QPointF position);

    ScreenTiles* tiles_;
    double zoom_ = 1;
    bool fitted_ = true;
    double pixelRatio_ = 1;
    bool dragging_ = false;
    QPoint dragStart_;
    QPoint scrolledAtStart_;
};

}  // namespace lumaweave
