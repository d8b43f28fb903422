// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/ImageView.h"

#include <QPainter>
#include <algorithm>

namespace lumaweave {

ImageView::ImageView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setMinimumSize(64, 48);
}

void ImageView::setImage(const QImage& image) {
    image_ = image;
    update();
}

void ImageView::setFit(Fit fit) {
    fit_ = fit;
    update();
}

void ImageView::setPlaceholder(const QString& text) {
    placeholder_ = text;
    update();
}

QRectF ImageView::fittedRectangle(QSizeF picture, QSizeF view, Fit fit) {
    if (picture.isEmpty() || view.isEmpty()) return {};
    double scale = std::min(view.width() / picture.width(), view.height() / picture.height());
    if (fit == Fit::shrink) scale = std::min(scale, 1.0);
    const QSizeF drawn = picture * scale;
    return {QPointF((view.width() - drawn.width()) / 2, (view.height() - drawn.height()) / 2),
            drawn};
}

// Colours are judged against a grey without a tint; only its lightness follows the theme.
QColor ImageView::ground(const QPalette& palette) {
    const bool dark = palette.color(QPalette::Window).lightness() < 128;
    return dark ? QColor(32, 32, 32) : QColor(122, 122, 122);
}

void ImageView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), ground(palette()));
    if (image_.isNull()) {
        constexpr int margin = 12;
        painter.setPen(QColor(225, 225, 225));
        painter.drawText(rect().adjusted(margin, margin, -margin, -margin),
                         Qt::AlignCenter | Qt::TextWordWrap, placeholder_);
        return;
    }
    QRectF target = fittedRectangle(image_.size(), size(), fit_);
    // Draws a picture of the view's own size (rounded to pixels) pixel by pixel, not resampled.
    const QSizeF difference = target.size() - QSizeF(image_.size());
    if (std::abs(difference.width()) < 1 && std::abs(difference.height()) < 1) {
        target = QRectF(QPointF(target.topLeft().toPoint()), QSizeF(image_.size()));
    }
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, image_);
}

void ImageView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    Q_EMIT resized();
}

}  // namespace lumaweave
