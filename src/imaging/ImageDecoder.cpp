#include "imaging/ImageDecoder.h"

#include <cstring>

#include "imaging/LocalDecoder.h"
#include "imaging/PixelData.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;

DecodedFile decodeToTiff(const fs::path& path, const fs::path& tiffPath) {
    return decodeToTiffHere(path, tiffPath);
}

bool isDecodable(const fs::path& path) {
    return openPicture(path) != nullptr;
}

bool isWhollyDecodable(const fs::path& path) {
    const OpenedPicture picture = openPicture(path);
    if (!picture || !picture->prepare()) return false;
    constexpr int rowsAtATime = 64;
    return picture->readRows(rowsAtATime, [](const void*, int) { return true; }) ==
           PictureReader::Result::done;
}

Image decodeImage(const fs::path& path) {
    constexpr std::size_t largestInMemory = std::size_t{32} << 20;
    const OpenedPicture picture = openPicture(path);
    if (!picture) return {};
    if (picture->orientation() != 1 || picture->description().byteCount() > largestInMemory) {
        const fs::path scratch = newScratchPath(".tif");
        Image image = decodeToTiff(path, scratch).image;
        std::error_code ignored;
        fs::remove(scratch, ignored);
        return image;
    }
    if (!picture->prepare()) return {};
    const PixelData& description = picture->description();
    PixelBuffer buffer(description.width, description.height, description.format);
    buffer.description().colourProfile = description.colourProfile;
    buffer.description().pixelsPerMillimetre = description.pixelsPerMillimetre;
    auto* next = buffer.row<std::byte>(0);
    const std::size_t rowBytes = description.bytesPerRow();
    constexpr int rowsAtATime = 64;
    const auto result = picture->readRows(rowsAtATime, [&](const void* rows, int count) {
        const std::size_t size = rowBytes * static_cast<std::size_t>(count);
        std::memcpy(next, rows, size);
        next += size;
        return true;
    });
    if (result != PictureReader::Result::done) return {};
    return std::move(buffer).finish();
}

}  // namespace lumaweave
