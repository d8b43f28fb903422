#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lumaweave {

// The metadata of a picture in the form in which it goes from the process that has read it to the
// one that writes it: nothing in it has to be understood to be put into a TIFF file.
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
