// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "platform/FileDescriptor.h"
#include "platform/Outcome.h"

namespace lumaweave {

class OpenedPicture;
struct PictureFile;

// Which process decodes the files of a format. The reader: its library gives pictures as a whole,
// and fewer hostile eyes have read it than the libraries of the four formats that most photographs
// come in. The program decodes those itself, which is faster.
enum class DecodedBy { program, reader };

// A kind of picture file: how to recognise it, and the codec that opens it. There is one constant
// for each (Formats.h).
struct PhotoFormat {
    using Open = Result<std::unique_ptr<OpenedPicture>>(const PictureFile& file);

    std::string_view name;
    // The endings that such files usually have, in small letters, for choosing among files. They
    // say nothing of what is in a file.
    std::span<const std::string_view> endings;
    DecodedBy decodedBy = DecodedBy::reader;
    // Whether a file is of this format, told by its first bytes (formatHeadBytes of them, if there
    // are as many) and, where they do not suffice, by others. Pure; any thread.
    bool (*recognises)(std::string_view head, const ReadBytes& read) = nullptr;
    Open* open = nullptr;
    // What the reader alone tries where `open` fails, since nothing bounds its time and memory. May
    // be null.
    Open* openAsLastResort = nullptr;
};

// How many of a file's first bytes tell its format.
inline constexpr std::size_t formatHeadBytes = 32;

// Whether a file's first bytes have these at that place.
[[nodiscard]] constexpr bool hasAt(std::string_view head, std::size_t offset,
                                   std::string_view bytes) {
    return head.size() >= offset && head.substr(offset).starts_with(bytes);
}

// The format of a file, told by its content alone; null when it is no photograph (but text, a
// drawing, a document, video…). Any thread.
[[nodiscard]] const PhotoFormat* photoFormatOf(const ReadBytes& read);

// The endings of all formats.
[[nodiscard]] std::vector<std::string_view> usualEndings();

}  // namespace lumaweave
