// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

namespace lumaweave::test {

// Runs the event loop until the condition holds; false when it does not within a generous bound.
// No test depends on how long something takes.
[[nodiscard]] bool waitUntil(const std::function<bool()>& condition);

// Runs the action once the condition holds, from whatever event loop runs then (a sheet's own,
// too).
void whenTrue(const std::function<bool()>& condition, const std::function<void()>& action);

// Runs the event loop until no background task is left. False past the bound.
[[nodiscard]] bool waitForBackgroundTasks();

// Runs the event loop until there is no process of this number. False past the bound.
[[nodiscard]] bool waitUntilProcessEnds(int process);

}  // namespace lumaweave::test
