// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

namespace lumaweave {

// The names of the working files, all directly in the working folder. n is a cell's index, 0 to 15.
// None of these touches a file. Any thread.

// The fused preview, written by the tool.
[[nodiscard]] std::filesystem::path GetURLToEnfusedPreviewFile();
// The fused 1:1 detail, written by the tool.
[[nodiscard]] std::filesystem::path enfusedDetailFile();
// Cell n's image at preview size.
[[nodiscard]] std::filesystem::path GetURLToScaledSourceFile(int n);
// Cell n's 1:1 crop around the detail point.
[[nodiscard]] std::filesystem::path GetURLToDetailImageFile(int n);
// Cell n's full-size working copy.
[[nodiscard]] std::filesystem::path GetURLToTIFFedSource(int n);

}  // namespace lumaweave
