// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <exiv2/exiv2.hpp>
#include <filesystem>
#include <optional>

// The metadata library, for those files of imaging/metadata, and the reader, that need its types.

namespace lumaweave {

// Starts the library once for the process; every function that uses it calls this first. Any
// thread.
void startExiv();

// What a file holds of each kind, as it stands there.
struct ExivRecords {
    Exiv2::ExifData exif;
    Exiv2::IptcData iptc;
    Exiv2::XmpData xmp;
};

// Reads a photograph's records (JPEG, TIFF, PNG, WebP, HEIC, raw; told by content). Empty for a
// file of another kind; none, with the reason in the log, for one that cannot be read or is
// damaged. For the reader and not the program: the library maps the files of some formats, and one
// that shrinks meanwhile ends the process. Any thread.
[[nodiscard]] std::optional<ExivRecords> readExivRecords(const std::filesystem::path& path);

}  // namespace lumaweave
