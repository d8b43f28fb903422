// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/picture/ScreenParts.h"

#include <algorithm>
#include <cstring>

#include "imaging/picture/PixelData.h"
#include "imaging/picture/ScreenImage.h"

namespace lumaweave {

namespace {

// The pictures below each other, at the left.
Image stacked(const std::vector<Image>& pictures, const PixelData& kind) {
    int width = 0;
    int height = 0;
    for (const Image& picture : pictures) {
        width = std::max(width, picture.pixelsWide());
        height += picture.pixelsHigh();
    }
    if (height == 0) return {};
    PixelBuffer stack(width, height, kind.format);
    stack.description().colourProfile = kind.colourProfile;
    int top = 0;
    for (const Image& picture : pictures) {
        for (int y = 0; y < picture.pixelsHigh(); ++y) {
            std::memcpy(stack.row<std::byte>(top++), picture.pixels().row<std::byte>(y),
                        picture.pixels().bytesPerRow());
        }
    }
    return std::move(stack).finish();
}

}  // namespace

std::vector<QImage> screenParts(const Image& image, const std::vector<ScreenPart>& parts) {
    std::vector<QImage> result(parts.size());
    if (image.isNull()) return result;
    std::vector<Image> pictures;
    pictures.reserve(parts.size());
    for (const ScreenPart& part : parts) {
        pictures.push_back(image.scaledPart(part.area, part.pixels.width(), part.pixels.height()));
    }
    const QImage screen = stacked(pictures, image.pixels()).toScreen();
    const QImage::Format format =
        image.format().alpha ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32;
    int top = 0;
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        if (pictures[i].isNull()) continue;
        const int height = pictures[i].pixelsHigh();
        result[i] = screen.copy(0, top, pictures[i].pixelsWide(), height).convertToFormat(format);
        top += height;
    }
    return result;
}

}  // namespace lumaweave
