// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace lumaweave {

struct FusionSettings;

// The fusion tool in the program's resources; none when it is missing or cannot be run. Any thread.
[[nodiscard]] std::optional<std::filesystem::path> fusionTool();

// The first half of a fusion's command line: the quoted tool, every option in its fixed order, and
// the output file. The caller appends one blank and a quoted path for each input. Numbers are
// written in the C locale, whatever the user's. Both paths must be ones that canBeQuoted. Any
// thread.
[[nodiscard]] std::string enfuseCommandText(const std::filesystem::path& executable,
                                            const std::filesystem::path& output,
                                            const FusionSettings& settings);

// The same for the tool in the resources and the settings panel's present values. None, after an
// alert, when the tool cannot be found or the output path cannot be quoted. Any thread; no lock may
// be held.
[[nodiscard]] std::optional<std::string> CreateEnfuseCommandString(
    const std::filesystem::path& output);

}  // namespace lumaweave
