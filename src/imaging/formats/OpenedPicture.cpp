// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/OpenedPicture.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "platform/FileDescriptor.h"
#include "platform/Log.h"

namespace lumaweave {

Outcome WholePicture::prepare() {
    try {
        Result<Image> decoded = decode();
        if (!decoded) return decoded.failure();
        picture_ = *decoded;
    } catch (const std::exception& error) {
        // Above all too little memory.
        logLine(std::string("A picture could not be decoded: ") + error.what());
        return Failure{error.what()};
    }
    description_ = picture_.pixels();
    description_.bytes = nullptr;
    description_.owner = nullptr;
    return {};
}

Outcome WholePicture::readRows(int stripRows, const TakeRows& take) {
    const Image picture = std::exchange(picture_, {});
    const PixelData& pixels = picture.pixels();
    for (int y = 0; y < pixels.height; y += stripRows) {
        const int count = std::min(stripRows, pixels.height - y);
        if (!take(pixels.row<std::byte>(y), count)) return Failure{"its rows are not taken"};
    }
    return {};
}

std::string PictureFile::beginning() const {
    constexpr std::uint64_t enough = 1 << 20;
    std::string bytes(std::min(descriptor.size(), enough), '\0');
    if (!descriptor.readAt(0, bytes.data(), bytes.size())) bytes.clear();
    return bytes;
}

Failure refused(const std::filesystem::path& path, const std::string& reason) {
    logLine(path.native() + ": " + reason);
    // Libraries end theirs with a new line, and some have none.
    const std::string words = reason.substr(0, reason.find_last_not_of('\n') + 1);
    return {words.empty() ? "it cannot be read" : words};
}

}  // namespace lumaweave
