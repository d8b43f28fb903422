// SPDX-License-Identifier: GPL-3.0-or-later
#include "batch/BatchState.h"

namespace lumaweave {

std::filesystem::path gBatchFolderPath;
std::optional<std::vector<std::filesystem::path>> gBatchList;
int gNumFilesInBatchFolder = 0;
int gNumImagesInBatchSet = 0;
int gNumBatchSets = 0;
std::atomic<bool> gAutoAlignDuringBatch = false;
std::atomic<bool> gCancelBatch = false;

}  // namespace lumaweave
