// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace lumaweave {

// What one alignment does around the tool: it takes the filled cells' files as inputs, and puts the
// outputs into the same cells. It leaves a cell alone that was emptied or filled anew meanwhile.
// One thread at a time.
class AlignmentRun {
  public:
    // Takes what the cells hold now.
    AlignmentRun();
    ~AlignmentRun();
    AlignmentRun(const AlignmentRun&) = delete;
    AlignmentRun& operator=(const AlignmentRun&) = delete;

    [[nodiscard]] int shotCount() const;

    // Appends the inputs in cell order, each behind one blank. False when they do not fit into a
    // command line.
    [[nodiscard]] bool appendInputs(std::string& command) const;

    // Call just before the tool starts: removes the aligned files that no cell points to, so that
    // this run's failure is seen as one, and tells the tool's adapter the field of view.
    void prepare();

    // Gives every cell the aligned file of its own number, loads it, and has the cell show it; the
    // tool numbers its files by their place in the command line, so they agree where there is no
    // gap before the cell. Ends at the first file that the tool did not write or that cannot be
    // loaded: its cell points to it, but keeps the image it had. Calls `nowLoading` before each
    // (counted from 1). False when a file was not loaded. No lock may be held.
    [[nodiscard]] bool reassign(const std::function<void(int)>& nowLoading);

    // Whether reassign failed for want of room in the working folder.
    [[nodiscard]] bool workingFolderFailed() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumaweave
