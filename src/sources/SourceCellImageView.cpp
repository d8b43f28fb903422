#include "sources/SourceCellImageView.h"

#include <QDropEvent>

#include "app/SharedState.h"
#include "sources/SourcesWindow.h"

namespace lumaweave {

SourceCellImageView::SourceCellImageView(QWidget* parent) : ImageView(parent) {
    setAcceptDrops(true);
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
