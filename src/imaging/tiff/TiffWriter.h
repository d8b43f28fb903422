// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <filesystem>
#include <memory>

#include "imaging/picture/Image.h"
#include "platform/Outcome.h"

namespace lumaweave {

struct PixelData;

// Plain: the file grows in place; whoever opens it may see half of it. Atomic: the file appears
// whole, or the old one stays.
enum class Write { plain, atomic };

// Writes the picture as an uncompressed TIFF in strips, with its depth and profile and no other
// metadata. Overwriting unlinks the old file first, so that an older map of it stays whole. Fails
// when it cannot be written (the reason is logged too); a half file is removed then. Any thread.
Outcome writeTiff(const Image& image, const std::filesystem::path& path, Write how);

// Writes such a file piece by piece, top row first. For decoding straight into a file. What fails
// is logged too.
class TiffStripWriter {
  public:
    TiffStripWriter();
    ~TiffStripWriter();
    TiffStripWriter(const TiffStripWriter&) = delete;
    TiffStripWriter& operator=(const TiffStripWriter&) = delete;

    // Opens the file for a picture of this description (its bytes are not looked at). Every strip
    // but the last has stripRows rows.
    Outcome open(const std::filesystem::path& path, const PixelData& description,
                 Write how = Write::plain);
    [[nodiscard]] int stripRows() const { return stripRows_; }
    // The next strip's rows, without gaps. The buffer is only read.
    Outcome writeStrip(const void* rows, int rowCount);
    // Completes the file; without it the file is removed.
    Outcome close();

  private:
    struct File;
    std::unique_ptr<File> file_;
    int stripRows_ = 0;
};

}  // namespace lumaweave
