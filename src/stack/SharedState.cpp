// SPDX-License-Identifier: GPL-3.0-or-later
#include "stack/SharedState.h"

namespace lumaweave {

SourcesWindow* gSourcesWindow = nullptr;
PreviewWindow* gPreviewWindow = nullptr;
EnfuseSettingsWindow* gEnfuseSettingsPanel = nullptr;
std::array<SourceCellViewController*, sourceCellCount> gSourceCells = {};

std::atomic<int> gNumSourceImages = 0;
std::atomic<float> gImageWidth = 0.0F;
std::atomic<float> gImageHeight = 0.0F;
std::atomic<float> gImageAspectRatio = 1.0F;

std::filesystem::path gEnfuseSavePath;
std::atomic<bool> gDoingBatch = false;
int gBestMessageNum = 0;

}  // namespace lumaweave
