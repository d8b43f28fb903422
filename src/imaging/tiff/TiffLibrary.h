// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <tiffio.h>

#include <filesystem>
#include <memory>

namespace lumaweave {

class FileDescriptor;

// libtiff's files, for imaging/tiff and imaging/formats only. They close themselves, and libtiff
// keeps to itself what it has to say about them. One thread at a time for a file.
struct TiffCloser {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using OpenTiff = std::unique_ptr<TIFF, TiffCloser>;

// Opens a file that is open already, from its start on; modes are libtiff's. Takes a descriptor of
// its own, which shares the position. Null when it cannot be opened; errno may say why.
[[nodiscard]] OpenTiff openTiff(const FileDescriptor& file, const std::filesystem::path& path,
                                const char* mode);

}  // namespace lumaweave
