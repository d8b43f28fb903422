#pragma once

#include <filesystem>

#include "imaging/ImageDecoder.h"

namespace lumaweave {

// The decoder itself, in the process that calls: what ImageDecoder.h promises, with whatever a
// hostile file makes the libraries do. For the functions of ImageDecoder.h, which choose the
// process, and for the reader, which is the other one.

[[nodiscard]] DecodedFile decodeToTiffHere(const std::filesystem::path& path,
                                           const std::filesystem::path& tiffPath);
[[nodiscard]] bool isDecodableHere(const std::filesystem::path& path);
// isDecodableHere without the last resort, the widget library's readers: they can neither be told
// how long they may take nor how much memory, and are for the reader alone.
[[nodiscard]] bool isQuicklyDecodableHere(const std::filesystem::path& path);
[[nodiscard]] bool isWhollyDecodableHere(const std::filesystem::path& path);
[[nodiscard]] Image decodeImageHere(const std::filesystem::path& path);

}  // namespace lumaweave
