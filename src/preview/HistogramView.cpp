// SPDX-License-Identifier: GPL-3.0-or-later
#include "preview/HistogramView.h"

#include <QPaintEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

#include "imaging/picture/Histogram.h"
#include "imaging/picture/Image.h"

namespace lumaweave {

HistogramView::HistogramView(QWidget* parent) : QWidget(parent) {
    setObjectName("histogramView");
    setMinimumSize(96, 40);
    setAccessibleName(tr("Histogram"));
    setToolTip(
        tr("How many pixels of the fused picture are dark (left) and how many are light (right)."));
    awakeFromNib();
}

void HistogramView::awakeFromNib() {
    histogramData_.reset();
}

void HistogramView::createHistogramForImage(const Image& image) {
    histogramData_ = luminanceHistogram(image, width());
    normaliseHistogram(*histogramData_, static_cast<float>(height()));
    update();
}

void HistogramView::paintEvent(QPaintEvent* event) {
    drawRect(event->rect());
}

void HistogramView::drawRect(const QRect& dirty) {
    if (!histogramData_) return;
    QPainter painter(this);
    painter.fillRect(dirty, Qt::black);
    QPen pen(Qt::white, 1.0);
    pen.setCapStyle(Qt::FlatCap);
    painter.setPen(pen);
    const int bars = std::min(width(), static_cast<int>(histogramData_->size()));
    for (int i = 0; i < bars; ++i) {
        const float bar = (*histogramData_)[static_cast<std::size_t>(i)];
        // The bars of a picture without pixels are no numbers.
        if (!std::isfinite(bar) || bar <= 0) continue;
        painter.drawLine(QPointF(i, height()), QPointF(i, static_cast<float>(height()) - bar));
    }
}

}  // namespace lumaweave
