#pragma once

#include <optional>

namespace lumaweave {

// The saved settings: one key for each control of the settings panel, each alignment global and the
// sources window's switch, in the user's own settings file. Main thread.

// Puts the saved values into the settings panel's controls and into the globals; a key that is not
// there leaves its target as it is. Fires no control's action. Called once, by the settings panel.
void LoadPrefs();

// Writes every value and brings the file up to date. False when that failed; no caller asks.
bool SavePrefs();

// The saved state of the switch "ensure valid TIFF", which the sources window reads itself.
[[nodiscard]] std::optional<int> savedEnsureValidTIFFState();

}  // namespace lumaweave
