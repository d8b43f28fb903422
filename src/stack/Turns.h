// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>

namespace lumaweave {

// The turns that runs take with what they share. No hand-off or alert while one is held, unless its
// line allows it.

// Holds a flag that says "one of this kind is at work": takes it by test-and-set, waits for it
// without using a core, and lowers it at the end of the scope. Any thread.
class Turn {
  public:
    explicit Turn(std::atomic<bool>& taken);
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

  private:
    std::atomic<bool>& taken_;
};

// Set while a fusion of that kind is inside the tool.
extern std::atomic<bool> gEnfusingPreview;
extern std::atomic<bool> gEnfusingFull;
// Held to write or fuse the detail crops, so that no run reads half of them. Its holder takes no
// preview turn.
extern std::atomic<bool> detailFilesTaken;
// Workers hold it to use the alignment tool and its files, across hand-offs; the main thread never
// does.
extern std::atomic<bool> alignmentTaken;

// One preview request's turn: first come, first served, from before its command is built until its
// result has been loaded. So the newest settings are shown last, and no run removes or rewrites a
// file that another is about to read. Workers hold it across hand-offs; the main thread never takes
// one.
class PreviewTurn {
  public:
    PreviewTurn();
    ~PreviewTurn();
    PreviewTurn(const PreviewTurn&) = delete;
    PreviewTurn& operator=(const PreviewTurn&) = delete;
};

}  // namespace lumaweave
