#include "imaging/PhotoFormat.h"

#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace lumaweave {

namespace {

using namespace std::string_literals;

PhotoFormat formatOf(const std::string& head) {
    return formatOfHead(std::as_bytes(std::span(head)));
}

ReadBytes readerOf(const std::string& file) {
    return [&file](std::uint64_t offset, void* to, std::size_t byteCount) {
        if (offset > file.size() || byteCount > file.size() - offset) return false;
        std::memcpy(to, file.data() + offset, byteCount);
        return true;
    };
}

std::string little(std::uint32_t number, int byteCount) {
    std::string bytes;
    for (int i = 0; i < byteCount; ++i)
        bytes += static_cast<char>(number >> (8 * i) & 0xFFU);
    return bytes;
}

struct Entry {
    std::uint32_t tag, type, count, value;
};

// One directory, as it lies in a file; next: where the one after it is.
std::string directory(const std::vector<Entry>& entries, std::uint32_t next = 0) {
    std::string bytes = little(static_cast<std::uint32_t>(entries.size()), 2);
    for (const Entry& entry : entries) {
        bytes += little(entry.tag, 2) + little(entry.type, 2) + little(entry.count, 4) +
                 little(entry.value, 4);
    }
    return bytes + little(next, 4);
}

constexpr std::uint32_t photometric = 262;
constexpr std::uint32_t subDirectories = 330;
constexpr std::uint32_t dngVersion = 50706;
constexpr std::uint32_t shortType = 3;
constexpr std::uint32_t longType = 4;
constexpr std::uint32_t rgb = 2;
constexpr std::uint32_t mosaic = 32803;
constexpr std::uint32_t linearRaw = 34892;
constexpr std::uint32_t second = 100;

// A TIFF with one directory behind the header and another one at byte 100.
std::string tiff(const std::string& first, const std::string& other = {}) {
    std::string bytes = "II*\0"s + little(8, 4) + first;
    bytes.resize(second, '\0');
    return bytes + other;
}

}  // namespace

TEST(PhotoFormat, IsToldByTheFirstBytes) {
    const std::vector<std::pair<std::string, PhotoFormat>> heads = {
        {"\xFF\xD8\xFF\xE0"s, PhotoFormat::jpeg},
        {"\x89PNG\r\n\x1A\n"s, PhotoFormat::png},
        {"RIFF\x10\0\0\0WEBPVP8 "s, PhotoFormat::webp},
        {"II*\0\x08\0\0\0"s, PhotoFormat::tiff},
        {"MM\0*\0\0\0\x08"s, PhotoFormat::tiff},
        {"II+\0\x08\0\0\0"s, PhotoFormat::tiff},
        {"\0\0\0\x18"
         "ftypheic\0\0\0\0mif1heic"s,
         PhotoFormat::heif},
        {"\0\0\0\x18"
         "ftypmif1\0\0\0\0mif1heic"s,
         PhotoFormat::heif},
        {"\0\0\0\x1C"
         "ftypavif\0\0\0\0avifmif1"s,
         PhotoFormat::heif},
        {"\0\0\0\x18"
         "ftypmp42\0\0\0\0mp42isom"s,
         PhotoFormat::none},
        {"\0\0\0\x0CjP  \r\n\x87\n"s, PhotoFormat::jpeg2000},
        {"\xFF\x4F\xFF\x51"s, PhotoFormat::jpeg2000},
        {"\xFF\x0A"s, PhotoFormat::jpegXl},
        {"\0\0\0\x0CJXL \r\n\x87\n"s, PhotoFormat::jpegXl},
        {"\x76\x2F\x31\x01"s, PhotoFormat::openExr},
        {"#?RADIANCE\n"s, PhotoFormat::radiance},
        {"#?RGBE\n"s, PhotoFormat::radiance},
        {"BM\x36\0\0\0\0\0\0\0"s, PhotoFormat::simple},
        {"BMW drives"s, PhotoFormat::none},
        {"GIF89a"s, PhotoFormat::simple},
        {"P6\n2 2"s, PhotoFormat::simple},
        {"P6th Avenue"s, PhotoFormat::none},
        {"%PDF-1.4"s, PhotoFormat::none},
        {"<?xml version"s, PhotoFormat::none},
        {"1,2,3\n"s, PhotoFormat::none},
        {""s, PhotoFormat::none}};
    for (const auto& [head, format] : heads)
        EXPECT_EQ(formatOf(head), format) << head;
}

TEST(PhotoFormat, RawFilesWithHeadsOfTheirOwn) {
    for (const std::string& head : {"II*\0\x10\0\0\0CR\2\0"s,
                                    "\0\0\0\x18"
                                    "ftypcrx \0\0\0\1crx isom"s,
                                    "FUJIFILMCCD-RAW 0201"s, "IIRO\x08\0\0\0"s, "IIRS\x08\0\0\0"s,
                                    "MMOR\0\0\0\x08"s, "IIU\0\x18\0\0\0"s}) {
        EXPECT_EQ(formatOf(head), PhotoFormat::raw) << head;
    }
}

TEST(PhotoFormat, ATiffWithRawPixelsIsARawFile) {
    const std::string plain = directory({{photometric, shortType, 1, rgb}});
    for (const std::uint32_t kind : {mosaic, linearRaw}) {
        const std::string raw = directory({{photometric, shortType, 1, kind}});
        // In the first directory, in the next one, and in one below it.
        EXPECT_TRUE(isRawTiff(readerOf(tiff(raw)))) << kind;
        EXPECT_TRUE(
            isRawTiff(readerOf(tiff(directory({{photometric, shortType, 1, rgb}}, second), raw))));
        EXPECT_TRUE(isRawTiff(readerOf(tiff(
            directory({{photometric, shortType, 1, rgb}, {subDirectories, longType, 1, second}}),
            raw))));
    }
    EXPECT_TRUE(isRawTiff(readerOf(tiff(directory({{dngVersion, 1, 4, 0x0401}})))));
    EXPECT_FALSE(isRawTiff(readerOf(tiff(plain))));
    EXPECT_EQ(photoFormatOf(readerOf(tiff(plain))), PhotoFormat::tiff);
    EXPECT_EQ(photoFormatOf(readerOf(tiff(directory({{dngVersion, 1, 4, 0x0401}})))),
              PhotoFormat::raw);
}

TEST(PhotoFormat, DirectoriesThatLeadNowhereOrInACircleEndTheSearch) {
    EXPECT_FALSE(isRawTiff(readerOf(tiff(directory({{photometric, shortType, 1, rgb}}, 8)))));
    EXPECT_FALSE(isRawTiff(readerOf(tiff(directory({{subDirectories, longType, 1, 8}}, 1 << 30)))));
    EXPECT_FALSE(isRawTiff(
        readerOf(tiff(directory({{subDirectories, longType, 0xFFFFFFFFU, 0xFFFFFFF0U}})))));
    EXPECT_FALSE(isRawTiff(readerOf("II*\0"s)));
    EXPECT_FALSE(isRawTiff(readerOf("II*\0\x08\0\0\0\xFF\xFF"s)));
}

}  // namespace lumaweave
