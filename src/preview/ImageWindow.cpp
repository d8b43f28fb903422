// SPDX-License-Identifier: GPL-3.0-or-later
#include "preview/ImageWindow.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QScreen>
#include <QSettings>

namespace lumaweave {

ImageWindow::ImageWindow(const char* sizeKey) : QWidget(nullptr, Qt::Window), sizeKey_(sizeKey) {
    setAttribute(Qt::WA_DeleteOnClose);
    auto* closeAction = new QAction(tr("Close"), this);
    closeAction->setObjectName("closeAction");
    closeAction->setShortcuts({Qt::Key_Escape, QKeySequence::Close});
    connect(closeAction, &QAction::triggered, this, &QWidget::close);
    addAction(closeAction);
}

void ImageWindow::setTitle(const QString& title) {
    // In a window's title "[*]" stands for "changed", unless it is doubled.
    setWindowTitle(QString(title).replace("[*]", "[*][*]"));
}

void ImageWindow::centreAndShow() {
    // Where the user is looking.
    const QWidget* active = QApplication::activeWindow();
    const QScreen* screen = active != nullptr ? active->screen() : this->screen();
    const QRect room = screen->availableGeometry();
    restoreGeometry(QSettings().value(sizeKey_).toByteArray());
    if (!isMaximized() && !isFullScreen()) {
        resize(size().boundedTo(room.size()));
        move(room.center() - rect().center());
    }
    show();
    raise();
    activateWindow();
}

void ImageWindow::closeEvent(QCloseEvent* event) {
    if (isVisible()) QSettings().setValue(sizeKey_, saveGeometry());
    windowWillClose();
    event->accept();
}

}  // namespace lumaweave
