// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "widgets/ImageView.h"

namespace lumaweave {

// The thumbnail of a cell. A click on it shows the cell's image at full size. A drop on it is a
// drop on the sources window: the files go into free cells in order, not into the cell under the
// pointer. Main thread.
class SourceCellImageView : public ImageView {
    Q_OBJECT

  public:
    explicit SourceCellImageView(QWidget* parent = nullptr);

    [[nodiscard]] int cellNum() const { return cellNum_; }
    void setCellNum(int number) { cellNum_ = number; }

    // Opens a window on the cell's image, if it has one. Every press counts: a double click opens
    // two.
    void mouseDown();

    [[nodiscard]] QSize sizeHint() const override { return {96, 72}; }

  protected:
    void mousePressEvent(QMouseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    int cellNum_ = 0;
};

}  // namespace lumaweave
