// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "support/TestFolder.h"

namespace lumaweave::test {

// Puts a shell script (without its first line) in the reader's place while it lives; an empty one
// leaves no reader there at all. Its job is $1, its source $2, its target $3.
class ReaderReplacement {
  public:
    explicit ReaderReplacement(const std::string& script);
    ~ReaderReplacement();
    ReaderReplacement(const ReaderReplacement&) = delete;
    ReaderReplacement& operator=(const ReaderReplacement&) = delete;

  private:
    TestFolder folder_;
};

}  // namespace lumaweave::test
