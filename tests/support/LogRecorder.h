// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace lumaweave::test {

// Records the log's lines while it lives. Any thread may log.
class LogRecorder {
  public:
    LogRecorder();
    ~LogRecorder();
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    [[nodiscard]] std::vector<std::string> lines() const;
    [[nodiscard]] int count(const std::string& line) const;
    // Those that hold this text.
    [[nodiscard]] std::vector<std::string> linesWith(const std::string& text) const;

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

}  // namespace lumaweave::test
