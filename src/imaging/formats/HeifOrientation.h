#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace lumaweave {

// How a picture of a HEIF or AVIF file is turned by the file's own transformations, as EXIF counts
// orientations: 1 to 8. The main picture, or the one of that number. None where it is cropped too,
// or where the file's structure is damaged. Pure; any thread.
[[nodiscard]] std::optional<int> heifOrientation(std::span<const unsigned char> file,
                                                 std::optional<std::uint32_t> item = {});

}  // namespace lumaweave
