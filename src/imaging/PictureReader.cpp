#include "imaging/PictureReader.h"

#include <algorithm>
#include <exception>
#include <string>

#include "platform/Log.h"

namespace lumaweave {

bool WholePictureReader::prepare() {
    try {
        picture_ = decode();
    } catch (const std::exception& error) {
        // Above all too little memory.
        Log(std::string("A picture could not be decoded: ") + error.what());
        return false;
    }
    if (picture_.isNull()) return false;
    description_ = picture_.pixels();
    description_.bytes = nullptr;
    description_.owner = nullptr;
    return true;
}

PictureReader::Result WholePictureReader::readRows(int stripRows, const TakeRows& take) {
    const Image picture = std::exchange(picture_, {});
    const PixelData& pixels = picture.pixels();
    for (int y = 0; y < pixels.height; y += stripRows) {
        const int count = std::min(stripRows, pixels.height - y);
        if (!take(pixels.row<std::byte>(y), count)) return Result::refused;
    }
    return Result::done;
}

}  // namespace lumaweave
