// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/FileDescriptor.h"

namespace lumaweave {

// The skeleton of a TIFF file: its directories, entry by entry; values stay where they lie in the
// file. For moving a file's parts about without touching its pixels. Pure; any thread.

// How numbers are stored. Big: the variant with 64-bit offsets.
struct TiffFormat {
    bool bigEndian = false;
    bool big = false;

    [[nodiscard]] std::endian order() const {
        return bigEndian ? std::endian::big : std::endian::little;
    }
    // The longest value that an entry holds itself.
    [[nodiscard]] std::size_t inlineBytes() const { return big ? 8 : 4; }
    bool operator==(const TiffFormat&) const = default;
};

struct TiffDirectory;

struct TiffEntry {
    std::uint16_t tag = 0;
    std::uint16_t type = 0;
    std::uint64_t count = 0;
    // The value in the file's byte order, when it is short or was made here; otherwise empty, and
    // it lies at the offset.
    std::vector<std::byte> value;
    std::uint64_t offset = 0;
    // The directories that the value points to (EXIF, GPS, interoperability, sub-images).
    std::vector<TiffDirectory> children;
};

struct TiffDirectory {
    std::vector<TiffEntry> entries;  // rising tags

    // Null when there is none.
    [[nodiscard]] const TiffEntry* find(std::uint16_t tag) const;
    [[nodiscard]] TiffEntry* find(std::uint16_t tag);
    // Puts the entry in, in place of one with its tag.
    void set(TiffEntry entry);
    void remove(std::uint16_t tag);
};

struct TiffStructure {
    TiffFormat format;
    std::vector<TiffDirectory> pages;
};

// Reads the directories of a file of that many bytes. None when it is no TIFF, is damaged
// (directories that point outside or at one another), or has more than some thousand pages.
[[nodiscard]] std::optional<TiffStructure> readTiffStructure(const ReadBytes& read,
                                                             std::uint64_t fileSize);
[[nodiscard]] std::optional<TiffStructure> readTiffStructure(std::span<const std::byte> file);

// How many bytes the values of a TIFF structure claim to have, all directories together, whatever
// the file's own number (raw files have others) and however damaged it is: values may lie on top of
// one another, so that a small file can claim, and make a library take, any amount. 0 for what is
// no such structure at all.
[[nodiscard]] std::uint64_t claimedValueBytes(const ReadBytes& read, std::uint64_t fileSize);

// Whether all strips and tiles of the pages lie within the file. Structures as read, not moved.
[[nodiscard]] bool pixelsLieWithin(const TiffStructure& structure, std::uint64_t fileSize,
                                   const ReadBytes& read);

// Adjusts the structure to a file whose bytes have all moved by that much: offsets of values, and
// the values that are offsets of pixels. False when such a value cannot be read, or an offset no
// longer fits.
[[nodiscard]] bool moveTiffStructure(TiffStructure& structure, std::uint64_t by,
                                     const ReadBytes& readUnmoved);

// What belongs at the end of a file that holds the values at their offsets: the directories and the
// values made here. `position` is where it will lie, a multiple of 8.
struct TiffTail {
    std::vector<std::byte> bytes;
    std::vector<std::byte> header;  // for the file's start: points to the first page
};
// None when an offset would not fit into the format.
[[nodiscard]] std::optional<TiffTail> layOutTiff(const TiffStructure& structure,
                                                 std::uint64_t position);

// An entry of one 16-bit number, in the format's byte order.
[[nodiscard]] TiffEntry shortEntry(std::uint16_t tag, std::uint16_t number, TiffFormat format);

}  // namespace lumaweave
