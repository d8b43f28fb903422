// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

namespace lumaweave {

class DecodedShot;
class Shot;

// The files that the program makes of a shot for the tools, in the working folder. An alert says
// when one cannot be written. Any thread; no lock may be held.

// Gives a shot that has just been filled its full-size file: the user's own, where the fusion tool
// reads it as it is shown and the user wants no copy of TIFFs, else the decoded one.
void makeWorkingCopy(Shot& shot, const std::filesystem::path& original, DecodedShot& decoded);

// Writes the shot's first scaled copy: the one that was decoded, or another when the preview has
// changed its size since.
void makeFirstScaledCopy(Shot& shot, const DecodedShot& decoded);

// Writes the shot's image, if any, fitted to the preview window's fused view, to its scaled copy,
// and makes its thumbnail anew.
void makeScaledCopy(Shot& shot);

// The same, if the copy does not have the size that the view asks for now. Leaves a shot alone that
// is being filled.
void refreshScaledCopy(Shot& shot);

}  // namespace lumaweave
