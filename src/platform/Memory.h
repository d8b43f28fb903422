// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace lumaweave {

// How many bytes this process may still take without the machine running short: the least of what
// the system has free, what the process's group is granted and what its own limit leaves. Any
// thread.
[[nodiscard]] std::uint64_t availableMemory();

// Gives freed picture buffers back to the system, instead of keeping the heap as large as it ever
// was. Called once, before any thread.
void keepHeapSmall();

}  // namespace lumaweave
