// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

namespace lumaweave::test {

// The decoded pixels of every page of a TIFF file, strips or tiles one behind the other; a page
// that cannot be read is empty.
[[nodiscard]] std::vector<std::vector<std::byte>> tiffPages(const std::filesystem::path& file);

}  // namespace lumaweave::test
