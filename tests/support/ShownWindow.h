// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QApplication>
#include <QEvent>
#include <QList>
#include <QPointer>
#include <QTest>
#include <QWindow>
#include <functional>
#include <utility>

#include "support/Waiting.h"

namespace lumaweave::test {

// The windows of that class, hidden ones too.
template <typename Window>
QList<Window*> allWindows() {
    QList<Window*> found;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* window = qobject_cast<Window*>(widget)) found << window;
    }
    return found;
}

// Those that stand on the screen.
template <typename Window>
QList<Window*> shownWindows() {
    QList<Window*> found;
    for (Window* window : allWindows<Window>()) {
        if (window->isVisible()) found << window;
    }
    return found;
}

// The window of that class that stands on the screen; null when there is none.
template <typename Window>
Window* shown() {
    return shownWindows<Window>().value(0);
}

// Does something in the window of that class once it stands on the screen.
template <typename Window>
void whenShown(const std::function<void(Window&)>& action) {
    whenTrue([] { return shown<Window>() != nullptr; }, [action] { action(*shown<Window>()); });
}

// While it lives, does something with every window of that class the moment it appears: before a
// worker can do anything that needs the main thread.
template <typename Window>
class AtShowing : public QObject {
  public:
    explicit AtShowing(std::function<void(Window&)> action) : action_(std::move(action)) {
        qApp->installEventFilter(this);
    }
    bool eventFilter(QObject* watched, QEvent* event) override {
        auto* window = event->type() == QEvent::Show ? qobject_cast<Window*>(watched) : nullptr;
        if (window != nullptr) action_(*window);
        return false;
    }

  private:
    std::function<void(Window&)> action_;
};

// Waits until the window no longer exists. False past the bound.
template <typename Window>
[[nodiscard]] bool waitUntilGone(const QPointer<Window>& window) {
    return waitUntil([&window] { return window.isNull(); });
}

// A click that takes the whole way of a real one: through the window, which may be blocked.
inline void clickThroughWindow(const QWidget& widget) {
    const QWidget* window = widget.window();
    QTest::mouseClick(window->windowHandle(), Qt::LeftButton, {},
                      widget.mapTo(window, widget.rect().center()));
}

}  // namespace lumaweave::test
