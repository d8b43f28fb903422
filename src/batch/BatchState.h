// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <filesystem>
#include <optional>
#include <vector>

namespace lumaweave {

// The batch's own state. The main thread writes it before it starts the batch's worker, and not
// again until that has ended, unless its line says so; both read it meanwhile.

extern std::filesystem::path gBatchFolderPath;
// The files of the folder that are not hidden, sorted, and their number.
extern std::optional<std::vector<std::filesystem::path>> gBatchList;
extern int gNumFilesInBatchFolder;
extern int gNumImagesInBatchSet;
extern int gNumBatchSets;
extern std::atomic<bool> gAutoAlignDuringBatch;
// The main thread sets it at any time; the worker stops at its next check point.
extern std::atomic<bool> gCancelBatch;

}  // namespace lumaweave
