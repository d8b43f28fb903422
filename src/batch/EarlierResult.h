// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

namespace lumaweave {

// Keeps an earlier result of the same name aside while the tool writes a new one: in a hidden
// folder beside it, so that recover finds it however the program ends. Files only; any thread.
class EarlierResult {
  public:
    // Puts the file that is at this path aside, if there is one.
    explicit EarlierResult(std::filesystem::path result);

    // False when there is one that could not be put aside: write nothing then.
    [[nodiscard]] bool isSafe() const { return safe_; }

    // The new one reads well: flushes it and removes the earlier one.
    void discard();
    // The new one does not: removes what there is of it, and puts the earlier one back.
    void restore();

    // Puts back what a killed run has left aside in this folder, unless the new one that it was
    // making is complete.
    static void recover(const std::filesystem::path& resultFolder);

  private:
    std::filesystem::path result_;
    std::filesystem::path aside_;
    bool kept_ = false;
    bool safe_ = true;
};

}  // namespace lumaweave
