// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/PhotoFormat.h"

#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "imaging/formats/RawTiff.h"

namespace lumaweave {

namespace {

using namespace std::string_literals;

ReadBytes bytesOf(const std::string& file) {
    return [&file](std::uint64_t offset, void* to, std::size_t byteCount) {
        if (offset > file.size() || byteCount > file.size() - offset) return false;
        std::memcpy(to, file.data() + offset, byteCount);
        return true;
    };
}

// The name of the format of a file; empty when it is no photograph.
std::string formatOf(const std::string& file) {
    const PhotoFormat* format = photoFormatOf(bytesOf(file));
    return format == nullptr ? std::string() : std::string(format->name);
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
    const std::vector<std::pair<std::string, std::string>> heads = {
        {"\xFF\xD8\xFF\xE0"s, "JPEG"},
        {"\x89PNG\r\n\x1A\n"s, "PNG"},
        {"RIFF\x10\0\0\0WEBPVP8 "s, "WebP"},
        {"II*\0\x08\0\0\0"s, "TIFF"},
        {"MM\0*\0\0\0\x08"s, "TIFF"},
        {"II+\0\x08\0\0\0"s, "TIFF"},
        {"\0\0\0\x18"
         "ftypheic\0\0\0\0mif1heic"s,
         "HEIF"},
        {"\0\0\0\x18"
         "ftypmif1\0\0\0\0mif1heic"s,
         "HEIF"},
        {"\0\0\0\x1C"
         "ftypavif\0\0\0\0avifmif1"s,
         "HEIF"},
        {"\0\0\0\x18"
         "ftypmp42\0\0\0\0mp42isom"s,
         ""},
        {"\0\0\0\x0CjP  \r\n\x87\n"s, "JPEG 2000"},
        {"\xFF\x4F\xFF\x51"s, "JPEG 2000"},
        {"\xFF\x0A"s, "JPEG XL"},
        {"\0\0\0\x0CJXL \r\n\x87\n"s, "JPEG XL"},
        {"\x76\x2F\x31\x01"s, "OpenEXR"},
        {"#?RADIANCE\n"s, "Radiance"},
        {"#?RGBE\n"s, "Radiance"},
        {"BM\x36\0\0\0\0\0\0\0"s, "BMP"},
        {"BMW drives"s, ""},
        {"GIF89a"s, "GIF"},
        {"P6\n2 2"s, "portable map"},
        {"P6th Avenue"s, ""},
        {"%PDF-1.4"s, ""},
        {"<?xml version"s, ""},
        {"1,2,3\n"s, ""},
        {""s, ""}};
    for (const auto& [head, format] : heads)
        EXPECT_EQ(formatOf(head), format) << head;
}

TEST(PhotoFormat, RawFilesWithHeadsOfTheirOwn) {
    for (const std::string& head : {"II*\0\x10\0\0\0CR\2\0"s,
                                    "\0\0\0\x18"
                                    "ftypcrx \0\0\0\1crx isom"s,
                                    "FUJIFILMCCD-RAW 0201"s, "IIRO\x08\0\0\0"s, "IIRS\x08\0\0\0"s,
                                    "MMOR\0\0\0\x08"s, "IIU\0\x18\0\0\0"s}) {
        EXPECT_EQ(formatOf(head), "raw") << head;
    }
}

TEST(PhotoFormat, ATiffWithRawPixelsIsARawFile) {
    const std::string plain = directory({{photometric, shortType, 1, rgb}});
    for (const std::uint32_t kind : {mosaic, linearRaw}) {
        const std::string raw = directory({{photometric, shortType, 1, kind}});
        // In the first directory, in the next one, and in one below it.
        EXPECT_TRUE(isRawTiff(bytesOf(tiff(raw)))) << kind;
        EXPECT_TRUE(
            isRawTiff(bytesOf(tiff(directory({{photometric, shortType, 1, rgb}}, second), raw))));
        EXPECT_TRUE(isRawTiff(bytesOf(tiff(
            directory({{photometric, shortType, 1, rgb}, {subDirectories, longType, 1, second}}),
            raw))));
    }
    EXPECT_TRUE(isRawTiff(bytesOf(tiff(directory({{dngVersion, 1, 4, 0x0401}})))));
    EXPECT_FALSE(isRawTiff(bytesOf(tiff(plain))));
    EXPECT_EQ(formatOf(tiff(plain)), "TIFF");
    EXPECT_EQ(formatOf(tiff(directory({{dngVersion, 1, 4, 0x0401}}))), "raw");
}

TEST(PhotoFormat, IsDecodedByTheReaderUnlessItIsOneOfTheUsual) {
    for (const std::string& head : {"\xFF\xD8\xFF\xE0"s, "\x89PNG\r\n\x1A\n"s,
                                    "RIFF\x10\0\0\0WEBPVP8 "s, "II*\0\x08\0\0\0"s}) {
        EXPECT_EQ(photoFormatOf(bytesOf(head))->decodedBy, DecodedBy::program) << head;
    }
    for (const std::string& head :
         {"\xFF\x0A"s, "\x76\x2F\x31\x01"s, "GIF89a"s, "FUJIFILMCCD-RAW 0201"s}) {
        EXPECT_EQ(photoFormatOf(bytesOf(head))->decodedBy, DecodedBy::reader) << head;
    }
}

TEST(PhotoFormat, TheEndingsOfAllAreOffered) {
    EXPECT_THAT(usualEndings(), testing::UnorderedElementsAre(
                                    "jpg", "jpeg", "png", "tif", "tiff", "webp", "heic", "heif",
                                    "hif", "avif", "jp2", "j2k", "jxl", "exr", "hdr", "bmp", "cr2",
                                    "cr3", "nef", "arw", "raf", "orf", "rw2", "pef", "dng"));
}

TEST(PhotoFormat, OfSeveralBrandsTheFirstThatIsKnownCounts) {
    const std::string box = "\0\0\0\x1C"s;
    EXPECT_EQ(formatOf(box + "ftypisom\0\0\0\0mif1crx "s), "HEIF");
    EXPECT_EQ(formatOf(box + "ftypisom\0\0\0\0crx mif1"s), "raw");
}

TEST(PhotoFormat, DirectoriesThatLeadNowhereOrInACircleEndTheSearch) {
    EXPECT_FALSE(isRawTiff(bytesOf(tiff(directory({{photometric, shortType, 1, rgb}}, 8)))));
    EXPECT_FALSE(isRawTiff(bytesOf(tiff(directory({{subDirectories, longType, 1, 8}}, 1 << 30)))));
    EXPECT_FALSE(isRawTiff(
        bytesOf(tiff(directory({{subDirectories, longType, 0xFFFFFFFFU, 0xFFFFFFF0U}})))));
    EXPECT_FALSE(isRawTiff(bytesOf("II*\0"s)));
    EXPECT_FALSE(isRawTiff(bytesOf("II*\0\x08\0\0\0\xFF\xFF"s)));
}

}  // namespace lumaweave
