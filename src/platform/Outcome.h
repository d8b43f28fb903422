// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <concepts>
#include <optional>
#include <string>
#include <utility>

namespace lumaweave {

// How functions say that they failed, and why. Plain values; any thread.

// Why something failed: a few words that could end a sentence ("it has too many pixels").
struct Failure {
    std::string reason;
};

// Whether something went well.
class [[nodiscard]] Outcome {
  public:
    Outcome() = default;  // it did
    Outcome(Failure failure) : failure_(std::move(failure)), failed_(true) {}

    explicit operator bool() const { return !failed_; }
    // Without a reason when it went well.
    [[nodiscard]] const Failure& failure() const { return failure_; }
    [[nodiscard]] const std::string& reason() const { return failure_.reason; }

  private:
    Failure failure_;
    bool failed_ = false;
};

// A value, or why there is none.
template <typename Value>
class [[nodiscard]] Result {
  public:
    Result(Failure failure) : failure_(std::move(failure)) {}
    template <std::convertible_to<Value> From>
    Result(From value) : value_(std::move(value)) {}

    explicit operator bool() const { return value_.has_value(); }
    // Only of a value that is there.
    [[nodiscard]] Value& operator*() { return *value_; }
    [[nodiscard]] Value* operator->() { return &*value_; }

    // Without a reason when there is a value.
    [[nodiscard]] const Failure& failure() const { return failure_; }
    [[nodiscard]] const std::string& reason() const { return failure_.reason; }

  private:
    std::optional<Value> value_;
    Failure failure_;
};

}  // namespace lumaweave
