// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "imaging/picture/Image.h"

namespace lumaweave::test {

// What the installed fusion tool makes outside of the program. A failed run fails the test.

// Fuses the files into the output with the tool's own defaults, and gives the result.
[[nodiscard]] Image fusedByHand(const std::vector<std::filesystem::path>& files,
                                const std::filesystem::path& output);

// Runs an echoed command in which the second name of each pair replaces the first, and gives the
// result. The first pair names the output.
using OtherNames = std::vector<std::pair<std::filesystem::path, std::filesystem::path>>;
[[nodiscard]] Image fusedByHand(std::string command, const OtherNames& names);

}  // namespace lumaweave::test
