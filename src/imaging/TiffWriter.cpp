#include "imaging/TiffWriter.h"

#include <fcntl.h>
#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>

#include "imaging/PixelData.h"
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

void logFailure(const fs::path& path) {
    Log("Cannot write " + path.native() + ": " + std::strerror(errno));
}

}  // namespace

struct TiffStripWriter::File {
    TIFF* tiff = nullptr;
    fs::path path;
    std::uint32_t nextStrip = 0;
    std::size_t rowBytes = 0;
};

TiffStripWriter::TiffStripWriter() = default;

TiffStripWriter::~TiffStripWriter() {
    if (!file_) return;
    TIFFClose(file_->tiff);
    std::error_code error;
    fs::remove(file_->path, error);
}

bool TiffStripWriter::open(const fs::path& path, const PixelData& description) {
    unlink(path.c_str());
    errno = 0;
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    const char* mode = description.byteCount() > largestClassicTiff ? "w8" : "w";
    TIFF* tiff = descriptor < 0 ? nullptr : TIFFFdOpen(descriptor, path.c_str(), mode);
    if (tiff == nullptr) {
        logFailure(path);
        if (descriptor < 0) return false;
        ::close(descriptor);
        unlink(path.c_str());
        return false;
    }
    file_ = std::make_unique<File>();
    file_->tiff = tiff;
    file_->path = path;
    file_->rowBytes = description.bytesPerRow();
    const auto rows = std::max<std::size_t>(1, stripBytes / description.bytesPerRow());
    stripRows_ = static_cast<int>(std::min(rows, static_cast<std::size_t>(description.height)));
    setFields(tiff, description, stripRows_);
    return true;
}

bool TiffStripWriter::writeStrip(const void* rows, int rowCount) {
    errno = 0;
    const auto size = static_cast<tmsize_t>(file_->rowBytes * static_cast<std::size_t>(rowCount));
    // Raw: nothing is to be compressed, and libtiff would otherwise ask for a writable buffer.
    if (TIFFWriteRawStrip(file_->tiff, file_->nextStrip++, const_cast<void*>(rows), size) == size) {
        return true;
    }
    logFailure(file_->path);
    return false;
}

bool TiffStripWriter::close() {
    errno = 0;
    const bool written = TIFFFlush(file_->tiff) == 1;
    if (!written) {
        logFailure(file_->path);
        return false;
    }
    TIFFClose(file_->tiff);
    file_.reset();
    return true;
}

bool writeTiff(const Image& image, const fs::path& path, Write how) {
    if (image.isNull()) return false;
    const PixelData& picture = image.pixels();
    fs::path target = path;
    if (how == Write::atomic) {
        // A name of its own for every writer: two may write the same file at the same time.
        static std::atomic<unsigned> writers = 0;
        target += "." + std::to_string(++writers) + ".part";
    }
    {
        TiffStripWriter writer;
        if (!writer.open(target, picture)) return false;
        for (int y = 0; y < picture.height; y += writer.stripRows()) {
            const int rows = std::min(writer.stripRows(), picture.height - y);
            if (!writer.writeStrip(picture.row<std::byte>(y), rows)) return false;
        }
        if (!writer.close()) return false;
    }
    if (how == Write::plain) return true;
    std::error_code error;
    fs::rename(target, path, error);
    if (!error) return true;
    Log("Cannot write " + path.native() + ": " + error.message());
    fs::remove(target, error);
    return false;
}

}  // namespace lumaweave
