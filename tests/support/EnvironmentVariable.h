// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

namespace lumaweave::test {

// Remembers the value of an environment variable, and puts it back in the end.
class EnvironmentVariable {
  public:
    explicit EnvironmentVariable(std::string name);
    // Sets it as well.
    EnvironmentVariable(std::string name, const std::string& value);
    ~EnvironmentVariable();
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

    void set(const std::string& value) const;
    void restore() const;
    // Its first value; none when it was not set.
    [[nodiscard]] const std::optional<std::string>& before() const { return before_; }

  private:
    std::string name_;
    std::optional<std::string> before_;
};

}  // namespace lumaweave::test
