// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/ElidedLabel.h"

#include <QPainter>
#include <QTextDocument>

namespace lumaweave {

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
}

void ElidedLabel::setText(const QString& text) {
    QLabel::setText(text);
    // Escapes a name that looks like markup, and leaves any other as it is.
    setToolTip(Qt::mightBeRichText(text)
                   ? "<p style='white-space:pre'>" + text.toHtmlEscaped() + "</p>"
                   : text);
}

QSize ElidedLabel::minimumSizeHint() const {
    return {0, QLabel::minimumSizeHint().height()};
}

void ElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    painter.drawText(contentsRect(), static_cast<int>(alignment()) | Qt::TextSingleLine,
                     fontMetrics().elidedText(text(), Qt::ElideMiddle, contentsRect().width()));
}

}  // namespace lumaweave
