// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace lumaweave::test {

// What this process and its tools write to standard output while the action runs.
[[nodiscard]] inline std::string printedWhile(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

}  // namespace lumaweave::test
