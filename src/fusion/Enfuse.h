#pragma once

namespace lumaweave {

// The three fusion runs. Each builds its command line from the settings panel and the enabled
// cells, in cell order, runs the tool through the shell and waits for its end. With fewer than two
// usable cells, without the tool, or with a command line longer than the system's buffer nothing is
// run. The tool's exit status says nothing; its output file does. No lock may be held by the
// caller.

// Fuses the scaled copies into "EnfusedPreview.tif". One run at a time. Meant for a background
// thread.
void EnfusePreview();

// Fuses the detail crops into "EnfusedDetail.tif" and puts the result into the preview window's
// detail view; leaves the view as it was when there is none. Any thread; runs take turns.
void EnfuseDetailView();

// Fuses the full-size working images into the file at gEnfuseSavePath, and carries the metadata
// over when the panel asks for it. One run at a time; beside a preview run. Meant for a background
// thread.
void EnfuseFullRez();

// Whether the full-size fusion's command line can be run: false, after an alert, when its paths are
// too long for it. Asked before anything is deleted to make room for the result. Any thread.
[[nodiscard]] bool FullRezCommandFits();

// Held by whoever writes the detail crops, so that no detail run reads half of them. No hand-off,
// alert or preview turn while it is held.
class DetailFilesLock {
  public:
    DetailFilesLock();
    ~DetailFilesLock();
    DetailFilesLock(const DetailFilesLock&) = delete;
    DetailFilesLock& operator=(const DetailFilesLock&) = delete;
};

// One preview request's turn: first come, first served, from before its command is built until its
// result has been loaded. So the newest settings are shown last, and no run removes or rewrites a
// file that another is about to read. Never held by the main thread, which a turn may wait for.
class PreviewTurn {
  public:
    PreviewTurn();
    ~PreviewTurn();
    PreviewTurn(const PreviewTurn&) = delete;
    PreviewTurn& operator=(const PreviewTurn&) = delete;
};

}  // namespace lumaweave
