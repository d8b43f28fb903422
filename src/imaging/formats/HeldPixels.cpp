// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/HeldPixels.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <string_view>

#include "imaging/tiff/TiffDirectory.h"
#include "platform/ByteOrder.h"

namespace lumaweave {

namespace {

using Bytes = std::array<unsigned char, 32>;

std::uint64_t product(std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    if (a == 0 || b == 0 || c == 0) return 0;
    if (a > most / b || a * b > most / c) return most;
    return a * b * c;
}

std::uint64_t bigEndian(const unsigned char* bytes, std::size_t byteCount) {
    return readNumber(bytes, byteCount, std::endian::big);
}

std::uint64_t littleEndian(const unsigned char* bytes, std::size_t byteCount) {
    return readNumber(bytes, byteCount, std::endian::little);
}

bool startsWith(const Bytes& bytes, std::size_t at, std::string_view text) {
    return std::equal(text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at),
                      [](char a, unsigned char b) { return static_cast<unsigned char>(a) == b; });
}

std::uint64_t ofPng(const Bytes& head) {
    constexpr std::size_t interlacing = 28;
    if (head[interlacing] == 0) return 0;
    constexpr std::uint64_t mostBytesPerPixel = 8;
    return product(bigEndian(&head[16], 4), bigEndian(&head[20], 4), mostBytesPerPixel);
}

// One buffer for the picture, and one for the canvas that it is put on.
std::uint64_t ofWebp(const Bytes& head) {
    constexpr std::uint64_t bytesPerPixel = 8;
    constexpr std::uint64_t fourteenBits = 0x3FFF;
    if (startsWith(head, 12, "VP8X")) {
        return product(littleEndian(&head[24], 3) + 1, littleEndian(&head[27], 3) + 1,
                       bytesPerPixel);
    }
    if (startsWith(head, 12, "VP8L")) {
        const std::uint64_t sides = littleEndian(&head[21], 4);
        return product((sides & fourteenBits) + 1, (sides >> 14 & fourteenBits) + 1, bytesPerPixel);
    }
    return product(littleEndian(&head[26], 2) & fourteenBits,
                   littleEndian(&head[28], 2) & fourteenBits, bytesPerPixel);
}

bool isFrame(unsigned char marker) {
    constexpr unsigned char huffmanTables = 0xC4;
    constexpr unsigned char reserved = 0xC8;
    constexpr unsigned char arithmetic = 0xCC;
    return marker >= 0xC0 && marker <= 0xCF && marker != huffmanTables && marker != reserved &&
           marker != arithmetic;
}

// What the segments of a JPEG say of its pixels.
struct JpegFrame {
    std::uint64_t coefficients = 0;
    unsigned components = 0;
    bool progressive = false;

    void take(unsigned char marker, const Bytes& segment) {
        components = segment[9];
        progressive = (marker & 3U) == 2;
        coefficients = product(bigEndian(&segment[5], 2), bigEndian(&segment[7], 2), components);
    }
    // A picture that comes in several scans is held as coefficients of two bytes.
    [[nodiscard]] std::uint64_t bytesHeld() const {
        constexpr std::uint64_t coefficientBytes = 2;
        return product(coefficients, coefficientBytes, 1);
    }
};

// Walks the segments in front of the first scan.
std::uint64_t ofJpeg(const ReadBytes& read, std::uint64_t fileSize) {
    constexpr int mostSegments = 10'000;
    std::uint64_t offset = 2;
    JpegFrame frame;
    Bytes segment{};
    for (int i = 0; i < mostSegments; ++i) {
        constexpr std::size_t needed = 10;
        if (offset + needed > fileSize || !read(offset, segment.data(), needed)) break;
        const unsigned char marker = segment[1];
        // Stray bytes, which decoders skip, and padding.
        if (segment[0] != 0xFF || marker == 0xFF) {
            ++offset;
            continue;
        }
        if (isFrame(marker)) frame.take(marker, segment);
        constexpr unsigned char startOfScan = 0xDA;
        if (marker == startOfScan) {
            const bool severalScans = frame.progressive || segment[4] < frame.components;
            return severalScans ? frame.bytesHeld() : 0;
        }
        const bool alone = marker == 0 || marker == 1 || (marker >= 0xD0 && marker <= 0xD8);
        offset += alone ? 2 : 2 + std::max<std::uint64_t>(bigEndian(&segment[2], 2), 2);
    }
    return frame.bytesHeld();
}

namespace tags {
constexpr std::uint16_t width = 0x0100;
constexpr std::uint16_t height = 0x0101;
constexpr std::uint16_t bits = 0x0102;
constexpr std::uint16_t photometric = 0x0106;
constexpr std::uint16_t samples = 0x0115;
constexpr std::uint16_t stripRows = 0x0116;
constexpr std::uint16_t tileWidth = 0x0142;
constexpr std::uint16_t tileRows = 0x0143;
constexpr std::uint16_t extraSamples = 0x0152;
constexpr std::uint16_t sampleFormat = 0x0153;
}  // namespace tags

// A page of a TIFF, asked for the numbers that lie in its directory.
struct Page {
    const TiffDirectory& directory;
    TiffFormat format;

    // The first number of an entry; 0 where there is none.
    [[nodiscard]] std::uint64_t operator[](std::uint16_t tag) const {
        const TiffEntry* entry = directory.find(tag);
        if (entry == nullptr || entry->count == 0 || entry->value.empty()) return 0;
        const std::size_t width = entry->value.size() / entry->count;
        return readNumber(entry->value.data(), std::min<std::size_t>(width, 8), format.order());
    }
    [[nodiscard]] std::uint64_t atLeast(std::uint64_t least, std::uint16_t tag) const {
        return std::max(least, (*this)[tag]);
    }
};

// Whether samples are of those kinds that are read row by row; an unknown number of bits is 0.
bool hasCommonSamples(const Page& page) {
    constexpr std::uint64_t multipliedAlpha = 1;
    constexpr std::uint64_t floats = 3;
    constexpr std::uint64_t luminance = 6;
    const std::uint64_t bits = page[tags::bits];
    if (page[tags::photometric] == luminance) return false;
    if (page[tags::sampleFormat] == floats) {
        return bits == 32 && page[tags::extraSamples] != multipliedAlpha;
    }
    return bits == 1 || bits == 8 || bits == 16 || bits == 32;
}

// Rows are read a strip, or a row of tiles, at a time.
std::uint64_t ofTiff(const ReadBytes& read, std::uint64_t fileSize) {
    const auto structure = readTiffStructure(read, fileSize);
    // Libraries may find a picture in it that claims anything.
    if (!structure) return std::numeric_limits<std::uint64_t>::max();
    const Page page{structure->pages.front(), structure->format};
    if (!hasCommonSamples(page)) {
        constexpr std::uint64_t bytesPerSample = 4;
        return product(page[tags::width], page[tags::height],
                       bytesPerSample * page.atLeast(3, tags::samples));
    }
    const std::uint64_t sampleBytes = std::max<std::uint64_t>((page[tags::bits] + 7) / 8, 1);
    const std::uint64_t pixelBytes = product(page.atLeast(1, tags::samples), sampleBytes, 1);
    if (page.directory.find(tags::tileRows) != nullptr) {
        return product(std::max(page[tags::width], page[tags::tileWidth]), page[tags::tileRows],
                       pixelBytes);
    }
    const std::uint64_t rows = page.directory.find(tags::stripRows) == nullptr
                                   ? page[tags::height]
                                   : std::min(page[tags::stripRows], page[tags::height]);
    return product(page[tags::width], rows, pixelBytes);
}

}  // namespace

std::uint64_t pixelBytesHeldAtOnce(const ReadBytes& read, std::uint64_t fileSize) {
    Bytes head{};
    if (fileSize < head.size() || !read(0, head.data(), head.size())) return 0;
    if (startsWith(head, 0, "\xFF\xD8\xFF")) return ofJpeg(read, fileSize);
    if (startsWith(head, 1, "PNG\r\n")) return ofPng(head);
    if (startsWith(head, 0, "RIFF") && startsWith(head, 8, "WEBP")) return ofWebp(head);
    if (startsWith(head, 0, "II") || startsWith(head, 0, "MM")) return ofTiff(read, fileSize);
    return 0;
}

std::uint64_t pixelBytesHeldAtOnce(const std::filesystem::path& path) {
    const FileDescriptor file = FileDescriptor::ofRegularFile(path);
    return file.isOpen() ? pixelBytesHeldAtOnce(readBytesOf(file), file.size()) : 0;
}

}  // namespace lumaweave
