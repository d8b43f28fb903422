// SPDX-License-Identifier: GPL-3.0-or-later
#include "preview/OutputImageWindow.h"

#include <QFile>
#include <QGuiApplication>
#include <QPointer>

#include "imaging/decoding/ImageDecoder.h"
#include "platform/FixedTexts.h"
#include "platform/Log.h"
#include "platform/Threads.h"
#include "stack/Alerts.h"
#include "stack/SharedState.h"
#include "ui_OutputImageWindow.h"
#include "widgets/ZoomView.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

constexpr auto sizeKey = "arrangement/outputImageWindow";

}  // namespace

// Says that something is on its way while the program stays usable.
class OutputImageWindow::BusyPointer {
  public:
    BusyPointer() { QGuiApplication::setOverrideCursor(Qt::BusyCursor); }
    ~BusyPointer() { QGuiApplication::restoreOverrideCursor(); }
    BusyPointer(const BusyPointer&) = delete;
    BusyPointer& operator=(const BusyPointer&) = delete;
};

OutputImageWindow::OutputImageWindow()
    : ImageWindow(sizeKey), layout_(std::make_unique<Ui::OutputImageWindow>()) {
    layout_->setupUi(this);
    layout_->zoomBar->setView(theView());
    theView()->setFocus();  // for the arrow keys
}

OutputImageWindow::~OutputImageWindow() = default;

ZoomView* OutputImageWindow::theView() const {
    return layout_->theView;
}

void OutputImageWindow::init() {
    const fs::path path = gEnfuseSavePath;
    setTitle(QFile::decodeName(path.filename().c_str()));
    loading_ = std::make_unique<BusyPointer>();
    performInBackground([self = QPointer(this), path] {
        const Image image = decodeImage(path);
        performOnMainThread(
            [self, image] {
                // It may have been closed with the program.
                if (!self.isNull()) self->showImage(image);
            },
            Wait::no);
    });
}

void OutputImageWindow::showImage(const Image& image) {
    loading_.reset();
    if (!image.isNull()) {
        theView()->setImage(image);
        centreAndShow();
        return;
    }
    logLine(fixed_texts::noResultImage);
    const QPointer<OutputImageWindow> self(this);
    DoAlert(fixed_texts::resultUnreadable);
    // Quitting while the alert is up may have deleted it.
    if (!self.isNull()) deleteLater();
}

void OutputImageWindow::windowWillClose() {
    theView()->setImage({});
}

}  // namespace lumaweave
