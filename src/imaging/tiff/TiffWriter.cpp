// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/tiff/TiffWriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "imaging/picture/PixelData.h"
#include "imaging/tiff/TiffLibrary.h"
#include "platform/AtomicFile.h"
#include "platform/Log.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

// Large enough that libtiff's work per strip does not count, small enough to stay in the cache.
constexpr std::size_t stripBytes = std::size_t{1} << 19;
// Above this the file needs 64-bit offsets; a margin is left for the directory.
constexpr std::size_t largestClassicTiff = 0xFFFF0000U;

void setFields(TIFF* tiff, const PixelData& picture, int stripRows) {
    const PixelFormat& format = picture.format;
    const bool isFloat = format.type == SampleType::float32;
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(picture.width));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(picture.height));
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, static_cast<std::uint16_t>(format.samples()));
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE,
                 static_cast<std::uint16_t>(format.bytesPerSample() * 8));
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, isFloat ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
                 format.colours == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(stripRows));
    TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, picture.pixelsPerMillimetre * 25.4);
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, picture.pixelsPerMillimetre * 25.4);
    if (format.alpha) {
        const std::uint16_t kind = EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &kind);
    }
    if (!picture.colourProfile.isEmpty()) {
        TIFFSetField(tiff, TIFFTAG_ICCPROFILE,
                     static_cast<std::uint32_t>(picture.colourProfile.size()),
                     picture.colourProfile.constData());
    }
}

// errno says why.
Failure notWritten(const fs::path& path) {
    const char* reason = std::strerror(errno);
    logLine("Cannot write " + path.native() + ": " + reason);
    return {reason};
}

// A new file in the place of whatever has the name; it goes again unless it is kept.
class FileInPlace {
  public:
    explicit FileInPlace(const fs::path& path) : path_(path) {
        unlink(path.c_str());
        file_ = FileDescriptor(
            ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, newFileMode));
    }
    ~FileInPlace() {
        if (file_.isOpen() && !kept_) unlink(path_.c_str());
    }
    FileInPlace(const FileInPlace&) = delete;
    FileInPlace& operator=(const FileInPlace&) = delete;

    [[nodiscard]] const FileDescriptor& file() const { return file_; }
    void keep() { kept_ = true; }

  private:
    static constexpr mode_t newFileMode = 0666;

    fs::path path_;
    FileDescriptor file_;
    bool kept_ = false;
};

}  // namespace

struct TiffStripWriter::File {
    File(const fs::path& target, Write how) : path(target) {
        if (how == Write::atomic) {
            aside.emplace(target, AtomicFile::Existing::replace);
        } else {
            inPlace.emplace(target);
        }
    }

    [[nodiscard]] const FileDescriptor& file() const {
        return aside ? aside->file() : inPlace->file();
    }
    // Working copies can be made anew, so no wait for the disk.
    [[nodiscard]] bool keep() {
        if (aside) return aside->commit(AtomicFile::WaitForDisk::no);
        inPlace->keep();
        return true;
    }

    fs::path path;
    std::optional<AtomicFile> aside;  // one of the two
    std::optional<FileInPlace> inPlace;
    OpenTiff tiff;
    std::uint32_t nextStrip = 0;
    std::size_t rowBytes = 0;
};

TiffStripWriter::TiffStripWriter() = default;

TiffStripWriter::~TiffStripWriter() = default;

Outcome TiffStripWriter::open(const fs::path& path, const PixelData& description, Write how) {
    errno = 0;
    auto file = std::make_unique<File>(path, how);
    const char* mode = description.byteCount() > largestClassicTiff ? "w8" : "w";
    if (file->file().isOpen()) file->tiff = openTiff(file->file(), path, mode);
    if (!file->tiff) return notWritten(path);
    file->rowBytes = description.bytesPerRow();
    const auto rows = std::max<std::size_t>(1, stripBytes / description.bytesPerRow());
    stripRows_ = static_cast<int>(std::min(rows, static_cast<std::size_t>(description.height)));
    setFields(file->tiff.get(), description, stripRows_);
    file_ = std::move(file);
    return {};
}

Outcome TiffStripWriter::writeStrip(const void* rows, int rowCount) {
    errno = 0;
    const auto size = static_cast<tmsize_t>(file_->rowBytes * static_cast<std::size_t>(rowCount));
    // Raw: nothing is to be compressed, and libtiff would otherwise ask for a writable buffer.
    if (TIFFWriteRawStrip(file_->tiff.get(), file_->nextStrip++, const_cast<void*>(rows), size) ==
        size) {
        return {};
    }
    return notWritten(file_->path);
}

Outcome TiffStripWriter::close() {
    errno = 0;
    if (TIFFFlush(file_->tiff.get()) != 1) return notWritten(file_->path);
    file_->tiff.reset();
    if (!file_->keep()) return notWritten(file_->path);
    file_.reset();
    return {};
}

Outcome writeTiff(const Image& image, const fs::path& path, Write how) {
    if (image.isNull()) return Failure{"there is no picture"};
    const PixelData& picture = image.pixels();
    TiffStripWriter writer;
    Outcome outcome = writer.open(path, picture, how);
    for (int y = 0; y < picture.height && outcome; y += writer.stripRows()) {
        const int rows = std::min(writer.stripRows(), picture.height - y);
        outcome = writer.writeStrip(picture.row<std::byte>(y), rows);
    }
    return outcome ? writer.close() : outcome;
}

}  // namespace lumaweave
