// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>

#include "platform/FileDescriptor.h"

namespace lumaweave {

// About how many bytes of pixels the libraries must hold at once to decode a picture of that
// header: those of the whole picture where they cannot give out rows as they read them (progressive
// JPEG, interlaced PNG, WebP, TIFF in one strip, in high tiles or of uncommon samples), else 0.
// What a header claims costs a hostile file nothing. 0 for other formats; the highest number for a
// damaged TIFF. Any thread.
[[nodiscard]] std::uint64_t pixelBytesHeldAtOnce(const ReadBytes& read, std::uint64_t fileSize);
[[nodiscard]] std::uint64_t pixelBytesHeldAtOnce(const std::filesystem::path& path);

}  // namespace lumaweave
