// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/EnvironmentVariable.h"

#include <cstdlib>
#include <utility>

namespace lumaweave::test {

EnvironmentVariable::EnvironmentVariable(std::string name) : name_(std::move(name)) {
    if (const char* value = std::getenv(name_.c_str())) before_ = value;
}

EnvironmentVariable::EnvironmentVariable(std::string name, const std::string& value)
    : EnvironmentVariable(std::move(name)) {
    set(value);
}

EnvironmentVariable::~EnvironmentVariable() {
    restore();
}

void EnvironmentVariable::set(const std::string& value) const {
    setenv(name_.c_str(), value.c_str(), 1);
}

void EnvironmentVariable::restore() const {
    if (before_) {
        set(*before_);
    } else {
        unsetenv(name_.c_str());
    }
}

}  // namespace lumaweave::test
