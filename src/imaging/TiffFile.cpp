#include "imaging/TiffFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <memory>

#include "imaging/PixelData.h"
#include "imaging/TiffLayout.h"
#include "imaging/VipsLibrary.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

OpenTiff openTiff(const fs::path& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
    startVips();  // it takes libtiff's messages, which would go to standard error
    return OpenTiff(TIFFOpen(path.c_str(), "rm"));
}

std::optional<PixelFormat> pixelFormat(const TiffLayout& layout) {
    PixelFormat format;
    format.colours = layout.photometric == PHOTOMETRIC_RGB ? 3 : 1;
    if (layout.photometric != PHOTOMETRIC_RGB && layout.photometric != PHOTOMETRIC_MINISBLACK) {
        return std::nullopt;
    }
    if (layout.extraSamples > 1 || layout.samples != format.colours + layout.extraSamples) {
        return std::nullopt;
    }
    format.alpha = layout.extraSamples == 1;
    if (layout.sampleFormat == SAMPLEFORMAT_UINT && layout.bits == 8) {
        format.type = SampleType::uint8;
    } else if (layout.sampleFormat == SAMPLEFORMAT_UINT && layout.bits == 16) {
        format.type = SampleType::uint16;
    } else if (layout.sampleFormat == SAMPLEFORMAT_IEEEFP && layout.bits == 32) {
        format.type = SampleType::float32;
    } else {
        return std::nullopt;
    }
    return format;
}

// Where the pixels begin, when the strips lie one behind the other; 0 when they do not.
std::uint64_t offsetOfPixels(TIFF* tiff) {
    const std::uint32_t strips = TIFFNumberOfStrips(tiff);
    std::uint64_t next = TIFFGetStrileOffset(tiff, 0);
    const std::uint64_t first = next;
    for (std::uint32_t i = 0; i < strips; ++i) {
        if (TIFFGetStrileOffset(tiff, i) != next) return 0;
        next += TIFFGetStrileByteCount(tiff, i);
    }
    return first;
}

class FileMap {
  public:
    explicit FileMap(int descriptor) {
        struct stat status {};
        if (fstat(descriptor, &status) != 0 || status.st_size <= 0) return;
        size_ = static_cast<std::size_t>(status.st_size);
        void* mapped = mmap(nullptr, size_, PROT_READ, MAP_SHARED, descriptor, 0);
        if (mapped != MAP_FAILED) bytes_ = static_cast<const std::byte*>(mapped);
    }
    ~FileMap() {
        if (bytes_ != nullptr) munmap(const_cast<std::byte*>(bytes_), size_);
    }
    FileMap(const FileMap&) = delete;
    FileMap& operator=(const FileMap&) = delete;

    [[nodiscard]] const std::byte* bytes() const { return bytes_; }
    [[nodiscard]] std::size_t size() const { return size_; }

  private:
    const std::byte* bytes_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace

std::optional<Image> mapTiff(const fs::path& path) {
    const OpenTiff tiff = openTiff(path);
    if (!tiff || TIFFIsTiled(tiff.get()) != 0 || TIFFIsByteSwapped(tiff.get()) != 0) return {};
    const TiffLayout layout = tiffLayoutOf(tiff.get());
    const auto format = pixelFormat(layout);
    if (!format || layout.compression != COMPRESSION_NONE || layout.planes != PLANARCONFIG_CONTIG) {
        return {};
    }
    PixelData picture;
    picture.width = static_cast<int>(layout.width);
    picture.height = static_cast<int>(layout.height);
    picture.format = *format;
    float pixelsPerInch = 0;
    if (TIFFGetField(tiff.get(), TIFFTAG_XRESOLUTION, &pixelsPerInch) == 1 && pixelsPerInch > 0) {
        picture.pixelsPerMillimetre = static_cast<double>(pixelsPerInch) / 25.4;
    }
    std::uint32_t profileSize = 0;
    const void* profile = nullptr;
    if (TIFFGetField(tiff.get(), TIFFTAG_ICCPROFILE, &profileSize, &profile) == 1) {
        picture.colourProfile =
            QByteArray(static_cast<const char*>(profile), static_cast<qsizetype>(profileSize));
    }
    const std::uint64_t offset = offsetOfPixels(tiff.get());
    const auto map = std::make_shared<const FileMap>(TIFFFileno(tiff.get()));
    const bool aligned = offset % static_cast<std::uint64_t>(format->bytesPerSample()) == 0;
    if (map->bytes() == nullptr || offset == 0 || !aligned ||
        offset + picture.byteCount() > map->size()) {
        return {};
    }
    picture.bytes = map->bytes() + offset;
    picture.owner = map;
    return Image(std::make_shared<const PixelData>(std::move(picture)));
}

bool fusionToolReadsAsShown(const fs::path& path) {
    const OpenTiff tiff = openTiff(path);
    if (!tiff || TIFFIsTiled(tiff.get()) != 0 || TIFFIsBigTIFF(tiff.get()) != 0) return false;
    const TiffLayout layout = tiffLayoutOf(tiff.get());
    // The tool would fuse every page of the file, and shift one that says where it lies.
    return pixelFormat(layout).has_value() && layout.planes == PLANARCONFIG_CONTIG &&
           layout.compression != COMPRESSION_JPEG && layout.orientation == ORIENTATION_TOPLEFT &&
           !layout.isMultiplied() && layout.xPosition == 0 && layout.yPosition == 0 &&
           TIFFLastDirectory(tiff.get()) != 0;
}

}  // namespace lumaweave
