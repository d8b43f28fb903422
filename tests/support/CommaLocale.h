// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <locale>

namespace lumaweave::test {

// While it lives, C++ writes numbers as half of Europe does: 1.234,5.
class CommaLocale {
  public:
    CommaLocale();
    ~CommaLocale();
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

  private:
    std::locale before_;
};

}  // namespace lumaweave::test
