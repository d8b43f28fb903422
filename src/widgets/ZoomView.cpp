// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/ZoomView.h"

#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QTimer>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "widgets/ImageView.h"
#include "widgets/ScreenTiles.h"
#include "widgets/ZoomGeometry.h"

namespace lumaweave {

namespace {

// Four notches of the wheel double the size, two presses of a key.
constexpr double deltaOfDoubling = 480;
const double keyFactor = std::sqrt(2.0);
// How far an arrow key scrolls, in points.
constexpr int scrollStep = 48;

}  // namespace

ZoomView::ZoomView(QWidget* parent) : QAbstractScrollArea(parent), tiles_(new ScreenTiles(this)) {
    setFrameShape(QFrame::NoFrame);
    setMinimumSize(160, 120);
    setAccessibleName(tr("Picture"));
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    connect(tiles_, &ScreenTiles::changed, viewport(), qOverload<>(&QWidget::update));
}

ZoomView::~ZoomView() = default;

void ZoomView::setImage(const Image& image) {
    tiles_->setImage(image);
    Q_EMIT imageChanged();
    zoomToFit();
}

const Image& ZoomView::image() const {
    return tiles_->image();
}

bool ZoomView::isSharp() const {
    return tiles_->isComplete();
}

long long ZoomView::heldPixels() const {
    return tiles_->heldPixels();
}

QSize ZoomView::pictureSize() const {
    return {image().pixelsWide(), image().pixelsHigh()};
}

QSize ZoomView::zoomed() const {
    return zoomedSize(pictureSize(), zoom_);
}

QSize ZoomView::viewSize() const {
    return (QSizeF(viewport()->size()) * pixelRatio_).toSize();
}

// Scroll bars do not count: the fitting picture needs none.
double ZoomView::fitting() const {
    return fittingZoom(pictureSize(), (QSizeF(maximumViewportSize()) * pixelRatio_).toSize());
}

QPoint ZoomView::scrolled() const {
    return {horizontalScrollBar()->value(), verticalScrollBar()->value()};
}

QPoint ZoomView::origin() const {
    return pictureOrigin(zoomed(), viewSize(), scrolled());
}

void ZoomView::zoomToFit() {
    fitted_ = true;
    layOut();
    Q_EMIT zoomChanged();
}

void ZoomView::zoomToActualSize() {
    zoomTo(1, QRectF(viewport()->rect()).center());
}

void ZoomView::zoomIn() {
    stepZoom(keyFactor, QRectF(viewport()->rect()).center());
}

void ZoomView::zoomOut() {
    stepZoom(1 / keyFactor, QRectF(viewport()->rect()).center());
}

void ZoomView::stepZoom(double factor, QPointF position) {
    const double next = steppedZoom(zoom_, factor, fitting());
    // Zooming out ends at the whole picture, and that follows the window again.
    if (factor < 1 && next <= fitting() && zoom_ >= fitting() && fitting() <= 1) {
        zoomToFit();
    } else {
        zoomTo(next, position);
    }
}

void ZoomView::zoomTo(double zoom, QPointF position) {
    if (image().isNull()) return;
    const QPointF point = imagePointAt(position);
    fitted_ = false;
    zoom_ = zoom;
    layOut();
    scrollTo(scrolledFor(point, position * pixelRatio_, zoomed(), pictureSize()));
    Q_EMIT zoomChanged();
}

void ZoomView::toggleFit(QPointF position) {
    if (fitted_) {
        zoomTo(1, position);
    } else {
        zoomToFit();
    }
}

QPointF ZoomView::imagePointAt(QPointF position) const {
    return picturePoint(position * pixelRatio_, origin(), zoomed(), pictureSize());
}

void ZoomView::layOut() {
    pixelRatio_ = viewport()->devicePixelRatioF();
    if (fitted_) zoom_ = fitting();
    const QSize size = image().isNull() ? QSize(0, 0) : zoomed();
    // Asks for the view's size each time: a bar that appears takes room from it.
    const auto adjust = [this](QScrollBar* bar, int length, int room) {
        bar->setRange(0, std::max(0, length - room));
        bar->setPageStep(room);
        bar->setSingleStep(static_cast<int>(scrollStep * pixelRatio_));
    };
    adjust(horizontalScrollBar(), size.width(), viewSize().width());
    adjust(verticalScrollBar(), size.height(), viewSize().height());
    updateCursor();
    showVisible();
}

void ZoomView::scrollTo(QPoint distance) {
    horizontalScrollBar()->setValue(distance.x());
    verticalScrollBar()->setValue(distance.y());
}

void ZoomView::showVisible() {
    tiles_->show(zoomed(), QRect(-origin(), viewSize()));
    viewport()->update();
}

void ZoomView::updateCursor() {
    const bool canMove = horizontalScrollBar()->maximum() > 0 || verticalScrollBar()->maximum() > 0;
    if (dragging_) {
        viewport()->setCursor(Qt::ClosedHandCursor);
    } else if (canMove) {
        viewport()->setCursor(Qt::OpenHandCursor);
    } else {
        viewport()->unsetCursor();
    }
}

void ZoomView::paintEvent(QPaintEvent*) {
    QPainter painter(viewport());
    painter.fillRect(viewport()->rect(), ImageView::ground(palette()));
    if (image().isNull()) return;
    if (pixelRatio_ != viewport()->devicePixelRatioF()) {
        // The window has come to another screen.
        QTimer::singleShot(0, this, [this] { layOut(); });
    }
    // From here on in device pixels. At a fractional scale factor the viewport may begin between
    // two of them.
    const QTransform device = painter.deviceTransform();
    const QPointF corner = device.map(QPointF(0, 0));
    painter.scale(1 / pixelRatio_, 1 / pixelRatio_);
    painter.translate(QPointF(corner.toPoint()) - corner + origin());
    tiles_->paint(painter);
}

void ZoomView::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    const double before = zoom_;
    layOut();
    if (zoom_ != before) Q_EMIT zoomChanged();
}

void ZoomView::scrollContentsBy(int, int) {
    showVisible();
}

void ZoomView::wheelEvent(QWheelEvent* event) {
    const int delta = event->angleDelta().y();
    if (delta == 0) {
        QAbstractScrollArea::wheelEvent(event);
        return;
    }
    if (!image().isNull()) stepZoom(std::exp2(delta / deltaOfDoubling), event->position());
    event->accept();
}

void ZoomView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton && event->button() != Qt::MiddleButton) return;
    dragging_ = true;
    dragStart_ = event->globalPosition().toPoint();
    scrolledAtStart_ = scrolled();
    updateCursor();
}

void ZoomView::mouseMoveEvent(QMouseEvent* event) {
    if (!dragging_) return;
    const QPointF moved = (event->globalPosition() - dragStart_) * pixelRatio_;
    scrollTo(scrolledAtStart_ - moved.toPoint());
}

void ZoomView::mouseReleaseEvent(QMouseEvent*) {
    dragging_ = false;
    updateCursor();
}

void ZoomView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && !image().isNull()) toggleFit(event->position());
}

}  // namespace lumaweave
