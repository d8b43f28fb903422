// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/tiff/TiffValues.h"

#include <array>

#include "platform/ByteOrder.h"

namespace lumaweave {

std::uint64_t bytesOfTiffType(std::uint16_t type) {
    constexpr std::array<std::uint8_t, 19> bytesOfType = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4,
                                                          8, 4, 8, 4, 0, 0, 8, 8, 8};
    return type < bytesOfType.size() ? bytesOfType[type] : 0;
}

bool pointsToDirectories(std::uint16_t tag) {
    return tag == 0x014A || tag == 0x8769 || tag == 0x8825 || tag == 0xA005;
}

bool holdsOffsets(std::uint16_t tag) {
    return tag == 0x0111 || tag == 0x0144 || tag == 0x0120 || tag == 0x0201 ||
           (tag >= 0x0207 && tag <= 0x0209);
}

std::vector<std::uint64_t> numbersIn(const TiffEntry& entry, TiffFormat format,
                                     const ReadBytes& read) {
    const auto width = static_cast<std::size_t>(bytesOfTiffType(entry.type));
    std::vector<std::byte> bytes = entry.value;
    if (bytes.empty()) {
        bytes.resize(static_cast<std::size_t>(entry.count) * width);
        if (!read(entry.offset, bytes.data(), bytes.size())) return {};
    }
    std::vector<std::uint64_t> numbers;
    numbers.reserve(static_cast<std::size_t>(entry.count));
    for (std::size_t at = 0; at < bytes.size(); at += width)
        numbers.push_back(readNumber(&bytes[at], width, format.order()));
    return numbers;
}

}  // namespace lumaweave
