#pragma once

#include <filesystem>

#include "imaging/Image.h"

namespace lumaweave {

// What the files of photographs hold, as pictures: JPEG, PNG, TIFF and WebP, told by their content
// and not by their names. Pixels are turned upright; depth and colour profile stay as they are.
// CMYK, Lab and the like become RGB. Anything that is not a regular file is refused without being
// read; a truncated file is refused whole, and so is a damaged one, except that a JPEG's scan is
// taken as far as it can be read: cameras leave stray bytes there that must not cost a photograph.
// All functions may be called from any thread, several at a time.

// Why there is no picture.
enum class DecodeFailure {
    none,
    unreadable,    // no photograph, damaged, larger than largestPixelCount, or not to be opened
    workingFolder  // the decoded pixels could not be written to disk
};

// Pictures with more pixels than this are refused before memory or disk is taken for them.
inline constexpr long long largestPixelCount = 1LL << 29;
// So are pictures with a longer side than this, in pixels.
inline constexpr int longestSide = 1 << 20;

struct DecodedFile {
    Image image;
    DecodeFailure failure = DecodeFailure::none;
};

// Decodes a file into an uncompressed TIFF in strips at tiffPath, and gives the picture as a map of
// that TIFF: unlinking or renaming it later does not touch the picture. On failure the image is
// null, the reason is in the log, and no file is left at tiffPath.
[[nodiscard]] DecodedFile decodeToTiff(const std::filesystem::path& path,
                                       const std::filesystem::path& tiffPath);

// Whether the file's header is that of a picture that could be decoded. Reads no pixels.
[[nodiscard]] bool isDecodable(const std::filesystem::path& path);

// Whether every pixel of the file can be read. Reads them all and keeps none, so that neither
// memory nor disk is needed for them.
[[nodiscard]] bool isWhollyDecodable(const std::filesystem::path& path);

// Decodes a file for looking at: small pictures into memory, large ones through an unlinked scratch
// file of the working folder. Null when it cannot be decoded.
[[nodiscard]] Image decodeImage(const std::filesystem::path& path);

}  // namespace lumaweave
