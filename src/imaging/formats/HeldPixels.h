#pragma once

#include <cstdint>
#include <filesystem>

#include "platform/FileDescriptor.h"

namespace lumaweave {

// How many bytes of pixels the libraries have to hold at the same time to decode a picture of that
// header, about: those of the whole picture where rows cannot be given out as they are read
// (progressive JPEG, interlaced PNG, WebP, TIFF in one strip, in high tiles or of uncommon
// samples), else 0. What a header claims costs a hostile file nothing. 0 for what is none of these;
// the most there is for a damaged TIFF. Any thread.
[[nodiscard]] std::uint64_t pixelBytesHeldAtOnce(const ReadBytes& read, std::uint64_t fileSize);
[[nodiscard]] std::uint64_t pixelBytesHeldAtOnce(const std::filesystem::path& path);

}  // namespace lumaweave
