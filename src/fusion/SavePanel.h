// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>

namespace lumaweave {

// Asks where to save a fused result. The path ends in ".tif" or ".tiff", can be quoted, and the
// user has agreed to replace a file that is there; empty when they cancel. Refuses a path that
// cannot be quoted, or that is a loaded shot's own, with an alert, and asks again. Main thread.
[[nodiscard]] std::filesystem::path AskForSaveFilename();

// The save panel's part of AskForSaveFilename: gives the chosen path, empty for cancel. Tests put
// their own in its place; an empty function restores the panel.
using SaveFilenameChooser = std::function<std::filesystem::path()>;
void setSaveFilenameChooser(SaveFilenameChooser chooser);

}  // namespace lumaweave
