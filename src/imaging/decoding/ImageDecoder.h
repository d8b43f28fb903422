// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>

#include "imaging/picture/Image.h"
#include "platform/Outcome.h"

namespace lumaweave {

// What the files of photographs hold, as pictures: JPEG, PNG, TIFF, WebP, HEIC, AVIF, JPEG 2000,
// JPEG XL, OpenEXR, Radiance, the raw files of cameras, and bitmaps that Qt reads; told by their
// content and not by their names. Pixels are turned upright once. Depth stays: 8-bit samples as
// they are, others of up to 16 bits as 16-bit, white being the highest number, 32-bit integers as
// 16-bit, floats as floats. The colour profile stays where the pixels are still what it describes;
// CMYK and Lab become sRGB. Linear light (OpenEXR, Radiance, JPEG XL of that kind) becomes display
// values by sRGB's curve, which goes on above white: nothing brighter is lost. Floats of a TIFF are
// display values already. Raw files are developed (formats/RawCodec.cpp).
//
// All functions refuse what is no regular file, unread, and what is no photograph; truncated and
// damaged files they refuse whole, but they take a JPEG's scan as far as they can read it: cameras
// leave stray bytes there that must not cost a photograph. Any thread may call them, several at a
// time. What fails is logged too.

// Why there is no picture.
enum class DecodeFailure {
    none,
    unreadable,    // no photograph, damaged, larger than largestPixelCount, or not to be opened
    workingFolder  // the decoded pixels could not be written to disk
};

// Pictures with more pixels than this are refused before they take memory or disk.
inline constexpr long long largestPixelCount = 1LL << 29;
// So are pictures with a longer side than this, in pixels.
inline constexpr int longestSide = 1 << 20;

struct DecodedFile {
    Image image;
    DecodeFailure failure = DecodeFailure::none;
    std::string reason = {};  // the failure in words, as in Failure
};

// Decodes a file into an uncompressed TIFF in strips at tiffPath, and gives the picture as a map of
// that TIFF: unlinking or renaming it later does not touch the picture. On failure the image is
// null, and no file is left at tiffPath.
[[nodiscard]] DecodedFile decodeToTiff(const std::filesystem::path& path,
                                       const std::filesystem::path& tiffPath);

// Whether the file's header is that of a picture that could be decoded. Reads no pixels.
Outcome isDecodable(const std::filesystem::path& path);

// Whether every pixel of the file can be read. Reads them all and keeps none, so that it needs
// neither memory nor disk for them.
Outcome isWhollyDecodable(const std::filesystem::path& path);

// Decodes a file for looking at: small pictures into memory, large ones through an unlinked scratch
// file of the working folder. Null when it cannot be decoded.
[[nodiscard]] Image decodeImage(const std::filesystem::path& path);

}  // namespace lumaweave
