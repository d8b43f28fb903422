// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/tiff/TiffFile.h"

#include <sys/mman.h>

#include <cstdint>
#include <memory>

#include "imaging/picture/PixelData.h"
#include "imaging/tiff/TiffLayout.h"
#include "imaging/tiff/TiffLibrary.h"
#include "platform/FileDescriptor.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

// Without libtiff's own maps.
OpenTiff openRegularTiff(const FileDescriptor& file, const fs::path& path) {
    return file.isOpen() ? openTiff(file, path, "rm") : nullptr;
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
    explicit FileMap(const FileDescriptor& file) : size_(file.size()) {
        if (size_ == 0) return;
        void* mapped = mmap(nullptr, size_, PROT_READ, MAP_SHARED, file.number(), 0);
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

// What a page says of its pixels; none unless they lie in the file as a map can show them.
std::optional<PixelData> mappableDescription(TIFF* tiff) {
    if (TIFFIsTiled(tiff) != 0 || TIFFIsByteSwapped(tiff) != 0) return std::nullopt;
    const TiffLayout layout = tiffLayoutOf(tiff);
    const auto format = pixelFormat(layout);
    if (!format || layout.compression != COMPRESSION_NONE || layout.planes != PLANARCONFIG_CONTIG) {
        return std::nullopt;
    }
    PixelData picture;
    picture.width = static_cast<int>(layout.width);
    picture.height = static_cast<int>(layout.height);
    picture.format = *format;
    float pixelsPerInch = 0;
    if (TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &pixelsPerInch) == 1 && pixelsPerInch > 0) {
        picture.pixelsPerMillimetre = static_cast<double>(pixelsPerInch) / 25.4;
    }
    picture.colourProfile = profileIn(tiff);
    return picture;
}

}  // namespace

std::optional<Image> mapTiff(const fs::path& path) {
    const FileDescriptor file = FileDescriptor::ofRegularFile(path);
    const OpenTiff tiff = openRegularTiff(file, path);
    if (!tiff) return {};
    auto picture = mappableDescription(tiff.get());
    if (!picture) return {};
    const std::uint64_t offset = offsetOfPixels(tiff.get());
    const auto map = std::make_shared<const FileMap>(file);
    const auto sampleBytes = static_cast<std::uint64_t>(picture->format.bytesPerSample());
    if (map->bytes() == nullptr || offset == 0 || offset % sampleBytes != 0 ||
        offset + picture->byteCount() > map->size()) {
        return {};
    }
    picture->bytes = map->bytes() + offset;
    picture->owner = map;
    return Image(std::make_shared<const PixelData>(std::move(*picture)));
}

bool fusionToolReadsAsShown(const fs::path& path) {
    const FileDescriptor file = FileDescriptor::ofRegularFile(path);
    const OpenTiff tiff = openRegularTiff(file, path);
    if (!tiff || TIFFIsTiled(tiff.get()) != 0 || TIFFIsBigTIFF(tiff.get()) != 0) return false;
    const TiffLayout layout = tiffLayoutOf(tiff.get());
    // The tool would fuse every page of the file, and shift one that says where it lies.
    return pixelFormat(layout).has_value() && layout.planes == PLANARCONFIG_CONTIG &&
           layout.compression != COMPRESSION_JPEG && layout.orientation == ORIENTATION_TOPLEFT &&
           !layout.isMultiplied() && layout.xPosition == 0 && layout.yPosition == 0 &&
           TIFFLastDirectory(tiff.get()) != 0;
}

}  // namespace lumaweave
