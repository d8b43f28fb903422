// SPDX-License-Identifier: GPL-3.0-or-later
#include "preview/SourceImageWindow.h"

#include "ui_SourceImageWindow.h"
#include "widgets/ZoomView.h"

namespace lumaweave {

namespace {
constexpr auto sizeKey = "arrangement/sourceImageWindow";
}

SourceImageWindow::SourceImageWindow()
    : ImageWindow(sizeKey), layout_(std::make_unique<Ui::SourceImageWindow>()) {
    layout_->setupUi(this);
    layout_->zoomBar->setView(theView());
    theView()->setFocus();  // for the arrow keys
}

SourceImageWindow::~SourceImageWindow() {
    theView()->setImage({});
}

ZoomView* SourceImageWindow::theView() const {
    return layout_->theView;
}

void SourceImageWindow::initWithImage(const Image& image, const QString& title) {
    theView()->setImage(image);
    setTitle(title);
    centreAndShow();
}

}  // namespace lumaweave
