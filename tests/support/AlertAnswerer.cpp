// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/AlertAnswerer.h"

#include <QAbstractButton>
#include <QApplication>
#include <QEvent>
#include <QMessageBox>
#include <algorithm>

namespace lumaweave::test {

AlertAnswerer::AlertAnswerer() {
    qApp->installEventFilter(this);
}
AlertAnswerer::~AlertAnswerer() {
    qApp->removeEventFilter(this);
}

int AlertAnswerer::count(const std::string& text) const {
    return static_cast<int>(std::count(texts_.begin(), texts_.end(), text));
}

bool AlertAnswerer::eventFilter(QObject* watched, QEvent* event) {
    auto* box = event->type() == QEvent::Show ? qobject_cast<QMessageBox*>(watched) : nullptr;
    if (box == nullptr) return false;
    texts_.push_back(box->text().toStdString());
    // From the alert's own event loop: a click before that would be lost.
    QMetaObject::invokeMethod(
        box,
        [this, box] {
            if (answer) {
                answer(box);
                return;
            }
            for (const auto kind : {QMessageBox::Ok, QMessageBox::Yes}) {
                if (QAbstractButton* button = box->button(kind)) {
                    button->click();
                    return;
                }
            }
        },
        Qt::QueuedConnection);
    return false;
}

}  // namespace lumaweave::test
