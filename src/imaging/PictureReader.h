#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <utility>

#include "imaging/PhotoFormat.h"
#include "imaging/PixelData.h"

namespace lumaweave {

class FileDescriptor;

// A picture file that has been opened: its header has been read, its pixels have not. One for each
// library that reads pictures; the library's types and exceptions end in it. Used by one thread.
class PictureReader {
  public:
    // Takes the next rows, without gaps; false to stop.
    using TakeRows = std::function<bool(const void* rows, int rowCount)>;
    enum class Result { done, unreadable, refused };

    PictureReader() = default;
    virtual ~PictureReader() = default;
    PictureReader(const PictureReader&) = delete;
    PictureReader& operator=(const PictureReader&) = delete;

    // Size, format, profile and resolution; no pixels. Before prepare() the size may be out by some
    // pixels, and the format be unknown.
    [[nodiscard]] const PixelData& description() const { return description_; }
    // How the pixels must be turned to be upright, as EXIF counts it.
    [[nodiscard]] int orientation() const { return orientation_; }

    // Makes the description exact; readers that cannot give a picture piece by piece read all of it
    // here. To be called once, before readRows. False, with the reason in the log, when that fails.
    [[nodiscard]] virtual bool prepare() { return true; }

    // Reads the pixels from top to bottom in pieces of stripRows rows. The reason of "unreadable"
    // is in the log; "refused" means that take returned false. Once.
    [[nodiscard]] virtual Result readRows(int stripRows, const TakeRows& take) = 0;

  protected:
    PixelData description_;
    int orientation_ = 1;
};

// For libraries that give a picture as a whole.
class WholePictureReader : public PictureReader {
  public:
    [[nodiscard]] bool prepare() final;
    [[nodiscard]] Result readRows(int stripRows, const TakeRows& take) final;

  protected:
    // Null, with the reason in the log, when it cannot be read.
    [[nodiscard]] virtual Image decode() = 0;

  private:
    Image picture_;
};

// The file, and what its messages in the log call it.
struct PictureFile {
    const FileDescriptor& descriptor;
    const std::filesystem::path& path;
};

// The readers. Each gives null, with the reason in the log, when the header is not that of a
// picture it can read. The descriptor is used only during the call.
using OpenedPicture = std::unique_ptr<PictureReader>;
[[nodiscard]] OpenedPicture openWithVips(const PictureFile& file, PhotoFormat format);
[[nodiscard]] OpenedPicture openUncommonTiff(const PictureFile& file);
[[nodiscard]] OpenedPicture openHeif(const PictureFile& file);
[[nodiscard]] OpenedPicture openExr(const PictureFile& file);
[[nodiscard]] OpenedPicture openWithQt(const PictureFile& file, PhotoFormat format);

}  // namespace lumaweave
