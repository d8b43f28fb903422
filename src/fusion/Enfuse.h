// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace lumaweave {

// The three fusion runs. Each builds its command line from the settings panel and the enabled
// cells, in cell order, runs the tool through the shell and waits for its end. They run nothing
// with fewer than two usable cells, without the tool, or with a command line above
// longestCommandLine. The tool's exit status says nothing; its output file does. The caller may
// hold no lock.

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
// too long for it. Ask before deleting anything to make room for the result. Any thread.
[[nodiscard]] bool fullRezCommandFits();

}  // namespace lumaweave
