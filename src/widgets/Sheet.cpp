// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/Sheet.h"

#include <QCloseEvent>
#include <QWindow>

namespace lumaweave {

Sheet::Sheet(QWidget* parent) : QDialog(parent) {
    setWindowModality(Qt::ApplicationModal);
}

void Sheet::begin(QWidget* window) {
    stopped_ = false;
    adjustSize();
    winId();  // makes the window, so that it can take its parent below
    if (window != nullptr && window->window()->windowHandle() != nullptr) {
        const QWidget* over = window->window();
        windowHandle()->setTransientParent(over->windowHandle());
        move(over->geometry().center() - rect().center());
    }
    show();
}

int Sheet::run() {
    if (!stopped_) loop_.exec();
    return code_;
}

void Sheet::stop(int code) {
    if (stopped_) return;
    stopped_ = true;
    code_ = code;
    loop_.quit();
    Q_EMIT stopped();
}

void Sheet::end() {
    hide();
}

void Sheet::reject() {
    if (!workerAlive_) abort();
}

void Sheet::closeEvent(QCloseEvent* event) {
    event->ignore();
    reject();
}

}  // namespace lumaweave
