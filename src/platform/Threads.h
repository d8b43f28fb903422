// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace lumaweave {

// Whether performOnMainThread returns at once or after the task has run.
enum class Wait { no, yes };

// Makes the calling thread the main thread. Called once, after the QCoreApplication exists and
// before anything else here. Its event loops (nested ones too) then run what is handed over.
void installMainThread();

[[nodiscard]] bool isMainThread();

// Runs the task on a new thread of its own. Any thread may call. The task must not throw.
void performInBackground(std::function<void()> task);

// Runs the task on the main thread, in the order of the calls. With Wait::yes the call returns when
// the task has run; on the main thread that is a plain call, ahead of what is queued. Any thread
// may call. No lock may be held across a call that waits: the task may open a modal loop.
void performOnMainThread(const std::function<void()>& task, Wait wait);

// How many background tasks have not yet ended. Any thread.
[[nodiscard]] int runningBackgroundTasks();

// Main thread. Waits until every background task has ended, meanwhile running what they hand over;
// gives up after `bound`. Returns whether all have ended.
[[nodiscard]] bool finishBackgroundTasks(std::chrono::milliseconds bound);

// Owns an object that belongs to the main thread (a widget) from any thread: whoever lets go last,
// the destructor runs on the main thread.
template <typename Object>
std::shared_ptr<Object> ownedByMainThread(std::unique_ptr<Object> object) {
    return std::shared_ptr<Object>(object.release(), [](Object* last) {
        if (isMainThread()) {
            delete last;
        } else {
            performOnMainThread([last] { delete last; }, Wait::no);
        }
    });
}

}  // namespace lumaweave
