#pragma once

#include <functional>

namespace lumaweave::test {

// Runs the event loop until the condition holds; false when it does not within a generous bound.
// No test depends on how long something takes.
[[nodiscard]] bool waitUntil(const std::function<bool()>& condition);

// Runs the action once, from whatever event loop runs then (a sheet's own, too), as soon as the
// condition holds.
void whenTrue(const std::function<bool()>& condition, const std::function<void()>& action);

// Runs the event loop until no background task is left. False past the bound.
[[nodiscard]] bool waitForBackgroundTasks();

}  // namespace lumaweave::test
