#pragma once

#include "imaging/ImageDecoder.h"
#include "imaging/PictureReader.h"

namespace lumaweave {

// Decoding in the calling process, whatever library the format needs. Any thread.

// Opens a file with the reader that its content asks for, and reads its header. Null, with the
// reason in the log, when it is no photograph, is damaged, or has too many pixels.
[[nodiscard]] OpenedPicture openPicture(const std::filesystem::path& path);

// As decodeToTiff.
[[nodiscard]] DecodedFile decodeToTiffHere(const std::filesystem::path& path,
                                           const std::filesystem::path& tiffPath);

}  // namespace lumaweave
