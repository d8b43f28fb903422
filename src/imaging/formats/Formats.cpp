// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/Formats.h"

#include <algorithm>
#include <array>

namespace lumaweave {

namespace {

// In the order in which they are asked.
constexpr const PhotoFormat* formats[] = {
    &jpegFormat,     &pngFormat,  &webpFormat,
    &rawFormat,  // before TIFF: many raw files are built as one
    &tiffFormat,     &heifFormat, &jpeg2000Format,    &jpegXlFormat, &openExrFormat,
    &radianceFormat, &gifFormat,  &portableMapFormat, &bmpFormat,
};

}  // namespace

const PhotoFormat* photoFormatOf(const ReadBytes& read) {
    std::array<char, formatHeadBytes> bytes{};
    std::size_t size = bytes.size();
    while (size > 0 && !read(0, bytes.data(), size))
        --size;
    const std::string_view head(bytes.data(), size);
    const auto* const found = std::ranges::find_if(
        formats, [&](const auto* format) { return format->recognises(head, read); });
    return found == std::end(formats) ? nullptr : *found;
}

std::vector<std::string_view> usualEndings() {
    std::vector<std::string_view> endings;
    for (const PhotoFormat* format : formats)
        endings.insert(endings.end(), format->endings.begin(), format->endings.end());
    return endings;
}

}  // namespace lumaweave
