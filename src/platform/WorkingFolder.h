// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>

namespace lumaweave {

// The folder of this running program's working files: one per program, mode 0700, in $TMPDIR when
// it is writable and sixteen paths in it fit a command line, else in /var/tmp (working copies are
// large, and /tmp is often memory).

// Makes the folder, and removes what programs that no longer run have left. Called once at
// start-up, before any thread. False when it cannot be made; workingFolder() then names a folder
// that does not exist, and whoever writes into it fails and reports that.
bool createWorkingFolder();

// Removes the folder and all in it. Called once at exit.
void removeWorkingFolder();

// Without a trailing slash. Any thread may call, after createWorkingFolder.
[[nodiscard]] const std::filesystem::path& workingFolder();

// A new name for a scratch file in the working folder, never given twice. Any thread may call.
[[nodiscard]] std::filesystem::path newScratchPath(const std::string& suffix);

}  // namespace lumaweave
