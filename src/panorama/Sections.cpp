// SPDX-License-Identifier: GPL-3.0-or-later
#include "panorama/Sections.h"

#include <cstddef>

#include "panorama/SphereGeometry.h"
#include "platform/ByteOrder.h"

namespace lumaweave {

SectionSize sectionSizeOf(int imageWidth, int imageHeight) {
    return {imageWidth / sectionColumns, imageHeight / sectionRows};
}

void copySection(const std::uint32_t* imagePixels, int sourceImageWidth, SectionSize size, int row,
                 int column, std::uint32_t* section) {
    const auto stride = static_cast<std::size_t>(sourceImageWidth);
    const auto width = static_cast<std::size_t>(size.width);
    const auto height = static_cast<std::size_t>(size.height);
    const std::uint32_t* from = imagePixels + static_cast<std::size_t>(row) * height * stride +
                                static_cast<std::size_t>(column) * width;
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x)
            section[x] = (SwizzleUInt32Long(from + x) >> 8) | 0xFF000000U;
        from += stride;
        section += width;
    }
}

std::uint64_t panoramaMemory(int imageWidth, int imageHeight) {
    constexpr std::uint64_t bytesPerPixel = 4;
    const SectionSize size = sectionSizeOf(imageWidth, imageHeight);
    const auto section = bytesPerPixel * static_cast<std::uint64_t>(size.width) *
                         static_cast<std::uint64_t>(size.height);
    const auto whole = bytesPerPixel * static_cast<std::uint64_t>(imageWidth) *
                       static_cast<std::uint64_t>(imageHeight);
    return whole + section + section * sectionCount;
}

}  // namespace lumaweave
