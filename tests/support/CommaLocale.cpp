// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/CommaLocale.h"

#include <string>

namespace lumaweave::test {

namespace {

class Comma : public std::numpunct<char> {
  protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

}  // namespace

CommaLocale::CommaLocale() : before_(std::locale::global(std::locale(std::locale(), new Comma))) {}

CommaLocale::~CommaLocale() {
    std::locale::global(before_);
}

}  // namespace lumaweave::test
