// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QUrl>
#include <filesystem>
#include <optional>

namespace lumaweave {

// Paths and file URLs, byte for byte: a path need not be text. Any thread.

// The path of a local file's URL, exactly as the file system has it; none for other URLs.
[[nodiscard]] std::optional<std::filesystem::path> pathFromUrl(const QUrl& url);
[[nodiscard]] QUrl urlFromPath(const std::filesystem::path& path);

}  // namespace lumaweave
