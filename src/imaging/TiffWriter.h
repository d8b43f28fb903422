#pragma once

#include <QByteArray>
#include <filesystem>
#include <memory>

#include "imaging/Image.h"

namespace lumaweave {

struct PixelData;

// Plain: the file grows in place; a reader may see half of it. Atomic: the file appears whole, or
// the old one stays.
enum class Write { plain, atomic };

// Writes the picture as an uncompressed TIFF in strips, with its depth and profile and no other
// metadata. Overwriting unlinks the old file first, so that an older map of it stays whole. False
// when it could not be written (the reason is logged); a half file is removed then. Any thread.
[[nodiscard]] bool writeTiff(const Image& image, const std::filesystem::path& path, Write how);

// Writes such a file piece by piece, top row first. For decoding straight into a file.
class TiffStripWriter {
  public:
    TiffStripWriter();
    ~TiffStripWriter();
    TiffStripWriter(const TiffStripWriter&) = delete;
    TiffStripWriter& operator=(const TiffStripWriter&) = delete;

    // Opens the file for a picture of this description (its bytes are not looked at). Every strip
    // but the last has stripRows rows.
    [[nodiscard]] bool open(const std::filesystem::path& path, const PixelData& description);
    [[nodiscard]] int stripRows() const { return stripRows_; }
    // The next strip's rows, without gaps. The buffer is only read.
    [[nodiscard]] bool writeStrip(const void* rows, int rowCount);
    // Completes the file; without it the file is removed.
    [[nodiscard]] bool close();

  private:
    struct File;
    std::unique_ptr<File> file_;
    int stripRows_ = 0;
};

}  // namespace lumaweave
