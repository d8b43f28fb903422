// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <atomic>
#include <filesystem>

namespace lumaweave {

class EnfuseSettingsWindow;
class PreviewWindow;
class SourceCellViewController;
class SourcesWindow;

// The state that several rooms share; each room's own state stands in its header. Each line says
// who may write and who may read.

inline constexpr int sourceCellCount = 16;

// References: the main frame owns the windows, the sources window the cells. The main thread writes
// them when the windows are made (before any background thread) and when they go (after the last).
// Any thread may read the pointers; the widgets behind them belong to the main thread.
extern SourcesWindow* gSourcesWindow;
extern PreviewWindow* gPreviewWindow;
extern EnfuseSettingsWindow* gEnfuseSettingsPanel;
// The fixed grid of source cells; every fusion walks it in index order.
extern std::array<SourceCellViewController*, sourceCellCount> gSourceCells;

// How many cells hold an image. A preview fusion only starts when it is at least 2. Any thread.
extern std::atomic<int> gNumSourceImages;
// The stack's size in pixels and its width divided by its height: those of the last image loaded.
// Whoever fills a cell writes them, on its own thread; any thread reads them.
extern std::atomic<float> gImageWidth;
extern std::atomic<float> gImageHeight;
extern std::atomic<float> gImageAspectRatio;

// Where the next full-size fusion writes its result; empty for nowhere. The main thread writes it
// before it starts the worker of a single fusion, the batch's worker before each set; neither does
// while the other's run lives. These workers read it, and the main thread when they have ended.
extern std::filesystem::path gEnfuseSavePath;

// The main thread sets this for good when the first batch starts: cells then log instead of
// alerting. Any thread reads it.
extern std::atomic<bool> gDoingBatch;

// The number of the newest message of the update feed that was shown. Main thread.
extern int gBestMessageNum;

}  // namespace lumaweave
