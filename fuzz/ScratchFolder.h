// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

#include "Targets.h"

namespace lumaweave::fuzz {

// A folder of this process's own in memory, gone when the process ends.
[[nodiscard]] const std::filesystem::path& scratchFolder();

// A file of these bytes in that folder.
std::filesystem::path writeScratch(const char* name, Bytes bytes);

}  // namespace lumaweave::fuzz
