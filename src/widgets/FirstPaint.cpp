// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/FirstPaint.h"

#include <QEvent>
#include <QTimer>
#include <QWidget>
#include <chrono>

namespace lumaweave {

namespace {

using namespace std::chrono_literals;

// A child of the window, so that it goes with it.
class FirstPaintWatch : public QObject {
  public:
    FirstPaintWatch(QWidget* window, std::function<void()> action)
        : QObject(window), action_(std::move(action)) {
        window->installEventFilter(this);
        QTimer::singleShot(2s, this, &FirstPaintWatch::run);
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() != QEvent::Paint) return false;
        watched->removeEventFilter(this);
        // The window and everything in it is painted before the event loop goes on.
        QTimer::singleShot(0, this, &FirstPaintWatch::run);
        return false;
    }

  private:
    void run() {
        if (ran_) return;
        ran_ = true;
        deleteLater();
        action_();
    }

    std::function<void()> action_;
    bool ran_ = false;
};

}  // namespace

void afterFirstPaint(QWidget* window, const std::function<void()>& action) {
    new FirstPaintWatch(window, action);
}

}  // namespace lumaweave
