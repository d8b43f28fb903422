// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace lumaweave {

// How a helper program ended.
struct HelperEnd {
    enum class Kind { notStarted, exited, killed, tookTooLong };
    Kind kind = Kind::notStarted;
    int number = 0;      // of its exit, or of the signal that killed it
    std::string output;  // what it printed, both outputs in one; at most 64 KiB, the rest is lost
};

// Runs a program with these arguments (without its name) and waits for its end, or ends it when the
// time is over: it and all that it has started are gone when this returns. It gets an empty input,
// no descriptor of ours, and both its outputs come back here. Any thread may call, and stays until
// the end: a helper may ask the system to be killed with the thread that started it.
[[nodiscard]] HelperEnd runHelper(const std::filesystem::path& program,
                                  const std::vector<std::string>& arguments,
                                  std::chrono::milliseconds longest);

}  // namespace lumaweave
