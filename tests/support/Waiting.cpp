#include "support/Waiting.h"

#include <QCoreApplication>
#include <QTest>

#include "platform/Threads.h"

namespace lumaweave::test {

namespace {
constexpr int boundMilliseconds = 300'000;
}

bool waitUntil(const std::function<bool()>& condition) {
    return QTest::qWaitFor(condition, boundMilliseconds);
}

bool waitForBackgroundTasks() {
    const bool ended = waitUntil([] { return runningBackgroundTasks() == 0; });
    // What the last task handed over without waiting.
    QCoreApplication::processEvents();
    return ended;
}

}  // namespace lumaweave::test
