// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <span>

namespace lumaweave::fuzz {

// What is to stand any bytes: no crash, no hang, no memory without bound. Whatever they make of the
// bytes, they leave nothing behind.

using Bytes = std::span<const std::byte>;

// A picture file: decoded into a working copy, as a shot that is dropped on the program.
void decodePicture(Bytes file);

// A photograph whose metadata is carried into a result, which is read back.
void carryMetadata(Bytes file);

// Our own walks through files: TIFF directories read, moved and laid out anew; what a picture's
// header claims; metadata on its way from one process to the other.
void walkStructures(Bytes file);

}  // namespace lumaweave::fuzz
