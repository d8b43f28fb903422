// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Threads.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QSocketNotifier>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace lumaweave {

namespace {

struct HandOff {
    std::function<void()> task;
    bool* done = nullptr;  // on the waiting caller's stack; null when nobody waits
};

// The hand-off uses standard primitives and an event descriptor rather than posted events: workers
// touch nothing of Qt, and ThreadSanitizer sees every edge.
struct MainThread {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<HandOff> queue;
    int runningTasks = 0;
    std::thread::id id;
    int wakeDescriptor = -1;
};

MainThread& mainThread() {
    // Never destroyed: a worker that outlives main() may still look at it.
    static auto* instance = new MainThread;
    return *instance;
}

void wakeMainThread(const MainThread& main) {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(main.wakeDescriptor, &one, sizeof one);
}

// Takes one hand-off and runs it without the lock; false when there was none.
bool runOneHandOff() {
    MainThread& main = mainThread();
    HandOff next;
    {
        const std::lock_guard lock(main.mutex);
        if (main.queue.empty()) return false;
        next = std::move(main.queue.front());
        main.queue.pop_front();
        // Before the task, not after: it may open a nested loop, which then runs the rest.
        if (!main.queue.empty()) wakeMainThread(main);
    }
    next.task();
    next.task = nullptr;
    const std::lock_guard lock(main.mutex);
    if (next.done != nullptr) *next.done = true;
    main.changed.notify_all();
    return true;
}

void serveMainThread() {
    std::uint64_t count = 0;
    [[maybe_unused]] const auto got = read(mainThread().wakeDescriptor, &count, sizeof count);
    runOneHandOff();
}

}  // namespace

void installMainThread() {
    MainThread& main = mainThread();
    main.id = std::this_thread::get_id();
    main.wakeDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    auto* notifier = new QSocketNotifier(main.wakeDescriptor, QSocketNotifier::Read,
                                         QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, [] { serveMainThread(); });
}

bool isMainThread() {
    return std::this_thread::get_id() == mainThread().id;
}

void performInBackground(std::function<void()> task) {
    MainThread& main = mainThread();
    {
        const std::lock_guard lock(main.mutex);
        ++main.runningTasks;
    }
    std::thread([work = std::move(task)]() mutable {
        work();
        work = nullptr;  // drop what the task held before it counts as ended
        const std::lock_guard lock(mainThread().mutex);
        --mainThread().runningTasks;
        mainThread().changed.notify_all();
    }).detach();
}

void performOnMainThread(const std::function<void()>& task, Wait wait) {
    if (wait == Wait::yes && isMainThread()) {
        task();
        return;
    }
    MainThread& main = mainThread();
    bool done = false;
    std::unique_lock lock(main.mutex);
    main.queue.push_back({task, wait == Wait::yes ? &done : nullptr});
    wakeMainThread(main);
    main.changed.notify_all();
    if (wait == Wait::yes) main.changed.wait(lock, [&done] { return done; });
}

int runningBackgroundTasks() {
    const std::lock_guard lock(mainThread().mutex);
    return mainThread().runningTasks;
}

bool finishBackgroundTasks(std::chrono::milliseconds bound) {
    MainThread& main = mainThread();
    const auto deadline = std::chrono::steady_clock::now() + bound;
    for (;;) {
        while (runOneHandOff()) {
        }
        std::unique_lock lock(main.mutex);
        if (main.runningTasks == 0 && main.queue.empty()) return true;
        const bool changed = main.changed.wait_until(
            lock, deadline, [&main] { return main.runningTasks == 0 || !main.queue.empty(); });
        if (!changed) return false;
    }
}

}  // namespace lumaweave
