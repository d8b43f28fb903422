// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QSize>
#include <filesystem>
#include <optional>
#include <string>

#include "align/AlignSettings.h"

namespace lumaweave {

// The alignment tool in the program's resources; none when it is missing or cannot be run. Any
// thread.
[[nodiscard]] std::optional<std::filesystem::path> alignTool();

// An alignment's command line without its inputs; the caller appends each behind one blank. Numbers
// are written in the C locale, whatever the user's. Both paths must be ones that canBeQuoted. Any
// thread.
[[nodiscard]] std::string alignCommandText(const std::filesystem::path& executable,
                                           const std::filesystem::path& prefix,
                                           const AlignSettings& settings);

// The prefix of the tool's outputs, before four digits and the ending, and the output for cell n (0
// to 15), in the working folder. They touch no file. Any thread.
[[nodiscard]] std::filesystem::path alignedImagePrefix();
[[nodiscard]] std::filesystem::path alignedImageFile(int n);

// Where the tool's adapter looks for the shots' field of view: beside the prefix.
[[nodiscard]] std::filesystem::path alignedFieldOfViewFile();

// How wide a picture of this size (pixels) looks, in degrees, through a lens of this focal length
// (millimetres, as it would be on a 36 x 24 mm frame, compared by the diagonals). The fisheye is
// one whose angles grow evenly from the centre. None for an impossible lens.
[[nodiscard]] std::optional<double> horizontalFieldOfView(double focalLengthIn35mm, QSize picture,
                                                          bool fisheye);

}  // namespace lumaweave
