// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>

namespace lumaweave {

// The time that the calling thread has worked.
[[nodiscard]] std::chrono::nanoseconds workOfThisThread();

// How long the thread that makes this may work from then on.
class WorkLimit {
  public:
    explicit WorkLimit(std::chrono::nanoseconds time);
    // Asked by the same thread.
    [[nodiscard]] bool isOver() const;

  private:
    std::chrono::nanoseconds end_;
};

}  // namespace lumaweave
