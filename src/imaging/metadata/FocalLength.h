// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>

namespace lumaweave {

// The focal length at which a photograph was taken, in millimetres, as it would be on a 36 x 24 mm
// frame (compared by the diagonals), from what the camera wrote into the file. None when it did
// not, or the file cannot be read. Any thread.
[[nodiscard]] std::optional<double> focalLengthIn35mm(const std::filesystem::path& photograph);

}  // namespace lumaweave
