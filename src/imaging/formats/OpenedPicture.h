// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "imaging/picture/Image.h"
#include "imaging/picture/PixelData.h"
#include "platform/Outcome.h"

namespace lumaweave {

class FileDescriptor;

// A picture file that a codec has opened: its header has been read, its pixels have not. Each codec
// (the code that reads pictures with one library) has its own kind; the library's types and
// exceptions end in it. Used by one thread.
class OpenedPicture {
  public:
    // Takes the next rows, without gaps; false to stop.
    using TakeRows = std::function<bool(const void* rows, int rowCount)>;

    OpenedPicture() = default;
    virtual ~OpenedPicture() = default;
    OpenedPicture(const OpenedPicture&) = delete;
    OpenedPicture& operator=(const OpenedPicture&) = delete;

    // Size, format, profile and resolution; no pixels. Before prepare() the size may be out by some
    // pixels, and the format be unknown.
    [[nodiscard]] const PixelData& description() const { return description_; }
    // How the pixels must be turned to be upright, as EXIF counts it.
    [[nodiscard]] int orientation() const { return orientation_; }

    // Makes the description exact; codecs that cannot give a picture piece by piece read all of it
    // here. To be called once, before readRows. A failure is logged too.
    virtual Outcome prepare() { return {}; }

    // Reads the pixels from top to bottom in pieces of stripRows rows. Fails when they cannot be
    // read (that is logged too), or when take has returned false. Once.
    virtual Outcome readRows(int stripRows, const TakeRows& take) = 0;

  protected:
    PixelData description_;
    int orientation_ = 1;
};

// For libraries that give a picture as a whole.
class WholePicture : public OpenedPicture {
  public:
    Outcome prepare() final;
    Outcome readRows(int stripRows, const TakeRows& take) final;

  protected:
    // A failure is logged too.
    virtual Result<Image> decode() = 0;

  private:
    Image picture_;
};

// The file, and what its messages in the log call it.
struct PictureFile {
    const FileDescriptor& descriptor;
    const std::filesystem::path& path;

    // Its first megabyte, where its header is; empty when that cannot be read.
    [[nodiscard]] std::string beginning() const;
};

// What a codec gives for a file. It uses the file's descriptor only while it opens it. A failure is
// logged too.
using OpenResult = Result<std::unique_ptr<OpenedPicture>>;

// Logs the reason, with the file in front of it, and gives it on.
[[nodiscard]] Failure refused(const std::filesystem::path& path, const std::string& reason);

}  // namespace lumaweave
