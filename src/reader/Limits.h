#pragma once

#include <chrono>

namespace lumaweave {

// What holds for this process from now on: so much time of a core, readerMemory, no core files, and
// an end with ReaderExit::memory when more memory is asked for.
void limitThisProcess(std::chrono::seconds time);

// Ends this process with the thread of the program that waits for it, however that ends.
void endWithTheProgram();

}  // namespace lumaweave
