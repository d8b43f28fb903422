// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>

namespace lumaweave {

// What holds for this process from now on: so much time of a core, readerMemory, no core files, and
// an end with ReaderExit::memory when more memory is asked for.
void limitThisProcess(std::chrono::seconds time);

// Ends this process when the program's thread that waits for it ends in any way.
void endWithTheProgram();

}  // namespace lumaweave
