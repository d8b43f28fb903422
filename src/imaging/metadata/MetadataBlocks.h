// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lumaweave {

// The metadata of a picture on the way from the process that has read it to the one that writes it,
// which puts it into a TIFF file without understanding any of it.
struct MetadataBlocks {
    std::string description;              // for the log
    std::vector<std::byte> littleEndian;  // TIFF files with one page that has no picture
    std::vector<std::byte> bigEndian;

    [[nodiscard]] const std::vector<std::byte>& block(bool big) const {
        return big ? bigEndian : littleEndian;
    }
};

// As bytes, and back: none when they are not what packMetadata gives. Pure.
[[nodiscard]] std::string packMetadata(const MetadataBlocks& blocks);
[[nodiscard]] std::optional<MetadataBlocks> unpackMetadata(std::string_view bytes);

}  // namespace lumaweave
