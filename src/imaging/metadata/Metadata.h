// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "imaging/metadata/MetadataBlocks.h"

namespace lumaweave {

// What a camera or a photographer has said about a picture: EXIF with maker note and GPS, IPTC,
// XMP. Without what describes the pixels of the file that it was read from (size, compression,
// strips, thumbnails, colour profile, orientation, raw development): it is for another picture of
// the same scene, whose pixels are upright. A value that never changes. Any thread.
class Metadata {
  public:
    explicit Metadata(MetadataBlocks blocks) : blocks_(std::move(blocks)) {}

    // All of it in one line for the log, long values shortened.
    [[nodiscard]] const std::string& description() const { return blocks_.description; }

    // As a TIFF file with one page that has no picture; its values begin at that byte or later.
    // Empty when it cannot be put into that form, even without the maker note. (Maker notes hold
    // offsets that count from the start of the file: what was made for one place is true there
    // only. Any place but the first starts the reader.)
    [[nodiscard]] std::vector<std::byte> asTiff(bool bigEndian, std::size_t firstByte) const;

  private:
    MetadataBlocks blocks_;
};

// The metadata of a photograph's first image (JPEG, TIFF, PNG, WebP, HEIC, raw; told by content),
// from the reader. Null when it has none, or the file cannot be read, is too damaged to tell or
// takes too long; the reason is in the log. Leaves out damaged records, enormous ones, maker notes
// of makes that the metadata library does not know (moving breaks them), and what a JPEG holds of
// XMP beyond its first 64 kB. Any thread.
[[nodiscard]] std::shared_ptr<const Metadata> readMetadata(const std::filesystem::path& path);

}  // namespace lumaweave
