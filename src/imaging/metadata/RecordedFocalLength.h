// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>

namespace lumaweave {

// focalLengthIn35mm in the process that calls: for the reader.
[[nodiscard]] std::optional<double> recordedFocalLength(const std::filesystem::path& photograph);

}  // namespace lumaweave
