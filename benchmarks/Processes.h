// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace lumaweave::bench {

class Stopwatch {
  public:
    [[nodiscard]] double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// Starts a program (its path first) without a shell and waits for its end. Returns its exit status,
// or 128 and the number of the signal that ended it; throws when it cannot be started.
int runProcess(const std::vector<std::string>& arguments);

// The same, in seconds; throws as well when the exit status is not 0.
[[nodiscard]] double timeProcess(const std::vector<std::string>& arguments);

// The arguments of a command line of the program's own making: split at blanks, but not between
// double quotes.
[[nodiscard]] std::vector<std::string> splitCommand(const std::string& command);

// The file behind the option -o. Throws when there is none.
[[nodiscard]] std::string& outputOf(std::vector<std::string>& arguments);

}  // namespace lumaweave::bench
