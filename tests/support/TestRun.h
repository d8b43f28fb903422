// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <gmock/gmock.h>

namespace lumaweave::test {

// Runs the tests with what a run of the program has around its windows: names for the settings
// file, the main thread's queue, the working folder. After each test the settings, the working
// folder, the current folder and the folders of resources and helpers are as they were before the
// first, so that tests can share a process. Called once, by main, with an application.
[[nodiscard]] int runTests();

}  // namespace lumaweave::test
