#pragma once

#include <filesystem>

namespace lumaweave {

// Keeps an earlier result of the same name aside while the tool writes a new one: in a hidden
// folder beside it, so that it is found again however the program ends. Files only; any thread.
class EarlierResult {
  public:
    // Puts the file that is at this path aside, if there is one.
    explicit EarlierResult(std::filesystem::path result);

    // False when there is one that could not be put aside: nothing may be written then.
    [[nodiscard]] bool isSafe() const { return safe_; }

    // The new one reads well, and is on the disk: the earlier one goes.
    void discard();
    // The new one does not: what there is of it goes, and the earlier one takes its place again.
    void restore();

    // Puts back what a run that was killed has left aside in this folder, unless the new one, which
    // it was making, is complete.
    static void recover(const std::filesystem::path& resultFolder);

  private:
    std::filesystem::path result_;
    std::filesystem::path aside_;
    bool kept_ = false;
    bool safe_ = true;
};

}  // namespace lumaweave
