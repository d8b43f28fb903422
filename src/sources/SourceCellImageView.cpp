// SPDX-License-Identifier: GPL-3.0-or-later
#include "sources/SourceCellImageView.h"

#include <QDropEvent>
#include <QFile>
#include <QMouseEvent>

#include "preview/SourceImageWindow.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"

namespace lumaweave {

SourceCellImageView::SourceCellImageView(QWidget* parent) : ImageView(parent) {
    setAcceptDrops(true);
}

void SourceCellImageView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) mouseDown();
}

void SourceCellImageView::mouseDown() {
    const SourceCellViewController* cell = gSourceCells.at(static_cast<std::size_t>(cellNum_));
    const Image image = cell->theImage();
    if (image.isNull()) return;
    auto* window = new SourceImageWindow;
    window->initWithImage(image, QFile::decodeName(cell->filenameToDisplay().c_str()));
}

void SourceCellImageView::dragEnterEvent(QDragEnterEvent* event) {
    gSourcesWindow->draggingEntered(event);
}
void SourceCellImageView::dragMoveEvent(QDragMoveEvent* event) {
    acceptAsCopy(event);
}
void SourceCellImageView::dragLeaveEvent(QDragLeaveEvent*) {
    gSourcesWindow->draggingExited();
}
void SourceCellImageView::dropEvent(QDropEvent* event) {
    gSourcesWindow->receiveDrop(event);
}

}  // namespace lumaweave
