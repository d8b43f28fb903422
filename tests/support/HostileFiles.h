// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>

namespace lumaweave::test {

// Files that ask for more than they hold.

// A PNG whose header claims an interlaced picture of that size, 16 bit with alpha, and that has no
// pixels. A decoder must hold such a picture whole.
[[nodiscard]] std::string interlacedPngThatClaims(std::uint32_t width, std::uint32_t height);

// A progressive JPEG of that size, grey all over, that comes bit by bit and coefficient by
// coefficient: in more than 2600 scans, as many as there can be, of some bytes each. No decoder has
// anything to complain about.
[[nodiscard]] std::string jpegOfManyScans(int width, int height);

// A PNG of 8 x 8 pixels with these bytes as a chunk of that name before its pixels.
[[nodiscard]] std::string pngWithChunk(const std::string& name, const std::string& data);

// zlib's compressed form of so many zero bytes.
[[nodiscard]] std::string compressedZeros(std::size_t count);

}  // namespace lumaweave::test
