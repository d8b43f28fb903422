// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLabel>

namespace lumaweave {

// A one-line label that shortens its text in the middle where it does not fit (file names differ at
// their ends), and shows it whole as its tool tip. text() is always the whole text.
class ElidedLabel : public QLabel {
    Q_OBJECT

  public:
    explicit ElidedLabel(QWidget* parent = nullptr);
    void setText(const QString& text);
    [[nodiscard]] QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
};

}  // namespace lumaweave
