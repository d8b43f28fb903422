// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace lumaweave::test {

// True in a process in which the environment variable has this value. Elsewhere it runs the current
// test in such a process, expects it to succeed there, and is false.
[[nodiscard]] bool inProcessWith(const std::string& variable, const std::string& value);

}  // namespace lumaweave::test
