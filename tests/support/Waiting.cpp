// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Waiting.h"

#include <QCoreApplication>
#include <QTest>
#include <QTimer>
#include <filesystem>
#include <string>

#include "platform/Threads.h"

namespace lumaweave::test {

namespace {
constexpr int boundMilliseconds = 120'000;
}

bool waitUntil(const std::function<bool()>& condition) {
    return QTest::qWaitFor(condition, boundMilliseconds);
}

void whenTrue(const std::function<bool()>& condition, const std::function<void()>& action) {
    auto* timer = new QTimer(QCoreApplication::instance());
    QObject::connect(timer, &QTimer::timeout, timer, [timer, condition, action] {
        if (!condition()) return;
        timer->stop();
        timer->deleteLater();
        action();
    });
    constexpr int pollMilliseconds = 5;
    timer->start(pollMilliseconds);
}

bool waitForBackgroundTasks() {
    const bool ended = waitUntil([] { return runningBackgroundTasks() == 0; });
    // What the last task handed over without waiting.
    QCoreApplication::processEvents();
    return ended;
}

bool waitUntilProcessEnds(int process) {
    const std::string folder = "/proc/" + std::to_string(process);
    return waitUntil([&folder] { return !std::filesystem::exists(folder); });
}

}  // namespace lumaweave::test
