// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

namespace lumaweave {

// The saved settings: a key for each panel control but the output depth, each alignment global and
// the sources window's switch, in the user's settings file. Main thread.

// Puts the saved values into the settings panel's controls and into the globals; a key that is not
// there leaves its target as it is. Fires no control's action. Called once, by the settings panel.
void LoadPrefs();

// Writes every value and brings the file up to date. False when that failed; no caller asks.
bool SavePrefs();

// The saved state of the switch "ensure valid TIFF", which the sources window reads itself.
[[nodiscard]] std::optional<int> savedEnsureValidTIFFState();

}  // namespace lumaweave
