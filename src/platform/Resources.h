// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

namespace lumaweave {

// The program's own bundled files: <prefix>/share/lumaweave beside <prefix>/bin, in the build tree
// as well as installed. Any thread may call; setResourceFolder only before others do.

[[nodiscard]] std::filesystem::path resourceFolder();
void setResourceFolder(const std::filesystem::path& folder);

// The file named "name.type" (or "name", when the type is empty) in the given sub-folder of the
// resources; none when there is no such file.
[[nodiscard]] std::optional<std::filesystem::path> pathForResource(std::string_view name,
                                                                   std::string_view type,
                                                                   std::string_view subfolder = {});

// An executable adapter of the resource folder "Enfuse" that can be run: it is there, the tool that
// it stands for is installed (on PATH), and its path can stand in a shell line. None otherwise.
[[nodiscard]] std::optional<std::filesystem::path> pathForTool(std::string_view adapter,
                                                               std::string_view installedTool);

// A helper program that is part of this one: <prefix>/libexec/lumaweave beside <prefix>/bin. None
// when it is not there. setHelperFolder (empty: back to that place) only before others call.
[[nodiscard]] std::optional<std::filesystem::path> pathForHelper(std::string_view name);
void setHelperFolder(const std::filesystem::path& folder);

}  // namespace lumaweave
