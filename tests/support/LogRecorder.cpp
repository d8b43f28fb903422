// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/LogRecorder.h"

#include <algorithm>

#include "platform/Log.h"

namespace lumaweave::test {

LogRecorder::LogRecorder() {
    setLogSink([this](std::string_view line) {
        const std::lock_guard lock(mutex_);
        lines_.emplace_back(line);
    });
}

LogRecorder::~LogRecorder() {
    setLogSink({});
}

std::vector<std::string> LogRecorder::lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
}

int LogRecorder::count(const std::string& line) const {
    const std::lock_guard lock(mutex_);
    return static_cast<int>(std::count(lines_.begin(), lines_.end(), line));
}

std::vector<std::string> LogRecorder::linesWith(const std::string& text) const {
    std::vector<std::string> found = lines();
    std::erase_if(
        found, [&text](const std::string& line) { return line.find(text) == std::string::npos; });
    return found;
}

}  // namespace lumaweave::test
