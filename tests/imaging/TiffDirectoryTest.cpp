// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/tiff/TiffDirectory.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

namespace lumaweave {

using testing::ElementsAre;
using testing::SizeIs;

namespace {

std::vector<std::byte> bytesOf(const std::string& text) {
    std::vector<std::byte> bytes(text.size());
    std::transform(text.begin(), text.end(), bytes.begin(),
                   [](char c) { return static_cast<std::byte>(c); });
    return bytes;
}

TiffEntry entryOf(std::uint16_t tag, std::uint16_t type, std::uint64_t count,
                  const std::string& value) {
    TiffEntry entry;
    entry.tag = tag;
    entry.type = type;
    entry.count = count;
    entry.value = bytesOf(value);
    return entry;
}

std::vector<std::uint16_t> tagsOf(const TiffDirectory& directory) {
    std::vector<std::uint16_t> tags;
    for (const TiffEntry& entry : directory.entries)
        tags.push_back(entry.tag);
    return tags;
}

// A file of these pages behind `gap` bytes that stand for pixels.
std::vector<std::byte> fileOf(const TiffStructure& structure, std::size_t gap = 16) {
    const auto tail = layOutTiff(structure, gap);
    EXPECT_TRUE(tail.has_value());
    std::vector<std::byte> file = tail->header;
    file.resize(gap);
    file.insert(file.end(), tail->bytes.begin(), tail->bytes.end());
    return file;
}

constexpr std::uint16_t ascii = 2;
constexpr std::uint16_t longNumber = 4;

}  // namespace

class TiffFormatTest : public testing::TestWithParam<TiffFormat> {};

TEST_P(TiffFormatTest, WhatIsLaidOutIsReadBack) {
    const TiffFormat format = GetParam();
    TiffStructure structure{format, {}};
    for (std::uint16_t page = 0; page < 3; ++page) {
        TiffDirectory directory;
        directory.set(shortEntry(0x0100, static_cast<std::uint16_t>(40 + page), format));
        directory.set(entryOf(0x010F, ascii, 20, "a maker's long name"));
        TiffEntry exif = entryOf(0x8769, longNumber, 1, "");
        TiffDirectory child;
        child.set(entryOf(0x9003, ascii, 6, "123456"));
        exif.children.push_back(child);
        directory.set(exif);
        structure.pages.push_back(directory);
    }
    const auto read = readTiffStructure(fileOf(structure));
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->format, format);
    ASSERT_THAT(read->pages, SizeIs(3));
    for (std::uint16_t page = 0; page < 3; ++page) {
        TiffDirectory directory = read->pages[page];
        EXPECT_THAT(tagsOf(directory), ElementsAre(0x0100, 0x010F, 0x8769));
        EXPECT_EQ(directory.find(0x0100)->value,
                  shortEntry(0x0100, static_cast<std::uint16_t>(40 + page), format).value);
        EXPECT_TRUE(directory.find(0x010F)->value.empty()) << "long values stay in the file";
        EXPECT_EQ(directory.find(0x010F)->count, 20U);
        ASSERT_THAT(directory.find(0x8769)->children, SizeIs(1));
        EXPECT_EQ(directory.find(0x8769)->children[0].find(0x9003)->value, bytesOf("123456"));
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, TiffFormatTest,
                         testing::Values(TiffFormat{false, false}, TiffFormat{true, false},
                                         TiffFormat{false, true}, TiffFormat{true, true}));

TEST(TiffDirectory, KeepsItsTagsInRisingOrderAndOnce) {
    TiffDirectory directory;
    for (const std::uint16_t tag : std::initializer_list<std::uint16_t>{30, 10, 20, 10})
        directory.set(shortEntry(tag, 1, {}));
    directory.set(shortEntry(20, 7, {}));
    EXPECT_THAT(tagsOf(directory), ElementsAre(10, 20, 30));
    EXPECT_EQ(directory.find(20)->value, shortEntry(20, 7, {}).value);
    directory.remove(20);
    EXPECT_EQ(directory.find(20), nullptr);
}

TEST(TiffDirectory, MovingShiftsOffsetsAndNothingElse) {
    TiffStructure structure;
    TiffDirectory page;
    TiffEntry name = entryOf(0x010F, ascii, 20, "");
    name.offset = 500;
    page.set(name);
    page.set(entryOf(0x0111, longNumber, 2, std::string("\x64\0\0\0\xC8\0\0\0", 8)));
    page.set(entryOf(0x0117, longNumber, 2, std::string("\x64\0\0\0\xC8\0\0\0", 8)));
    structure.pages.push_back(page);
    const ReadBytes none = [](std::uint64_t, void*, std::size_t) { return false; };
    ASSERT_TRUE(moveTiffStructure(structure, 0x1000, none));
    TiffDirectory& moved = structure.pages.front();
    EXPECT_EQ(moved.find(0x010F)->offset, 500U + 0x1000);
    EXPECT_EQ(moved.find(0x0111)->value, bytesOf(std::string("\x64\x10\0\0\xC8\x10\0\0", 8)));
    EXPECT_EQ(moved.find(0x0117)->value, bytesOf(std::string("\x64\0\0\0\xC8\0\0\0", 8)))
        << "lengths of strips are no offsets";
}

TEST(TiffDirectory, SixteenBitStripOffsetsBecomeLongOnes) {
    TiffStructure structure;
    TiffDirectory page;
    page.set(shortEntry(0x0111, 0xFFF0, {}));
    structure.pages.push_back(page);
    const ReadBytes none = [](std::uint64_t, void*, std::size_t) { return false; };
    ASSERT_TRUE(moveTiffStructure(structure, 0x1000, none));
    const TiffEntry& strips = *structure.pages.front().find(0x0111);
    EXPECT_EQ(strips.type, longNumber);
    EXPECT_EQ(strips.value, bytesOf(std::string("\xF0\x0F\x01\0", 4)));
}

TEST(TiffDirectory, AnOffsetThatNoLongerFitsIsRefused) {
    TiffStructure structure;
    TiffDirectory page;
    page.set(entryOf(0x0111, longNumber, 1, std::string("\0\xFF\xFF\xFF", 4)));
    structure.pages.push_back(page);
    const ReadBytes none = [](std::uint64_t, void*, std::size_t) { return false; };
    EXPECT_FALSE(moveTiffStructure(structure, 0x1000, none));
    EXPECT_FALSE(layOutTiff(structure, 0xFFFFFFF8).has_value());
}

TEST(TiffDirectory, DamagedFilesAreRefused) {
    TiffStructure structure;
    TiffDirectory page;
    page.set(entryOf(0x010F, ascii, 20, "a maker's long name"));
    structure.pages.push_back(page);
    const std::vector<std::byte> whole = fileOf(structure);
    ASSERT_TRUE(readTiffStructure(whole).has_value());
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_FALSE(readTiffStructure(std::span(whole).first(length)).has_value()) << length;
    }
    EXPECT_FALSE(readTiffStructure(bytesOf("II*")).has_value());
    EXPECT_FALSE(readTiffStructure(bytesOf("words and more words")).has_value());
    EXPECT_FALSE(readTiffStructure(bytesOf(std::string("II*\0\0\0\0\0", 8))).has_value())
        << "no page at all";
}

// A page whose next page is itself, and a directory that is its own child.
TEST(TiffDirectory, LoopsAreRefused) {
    EXPECT_FALSE(readTiffStructure(bytesOf(std::string("II*\0\x08\0\0\0\0\0\x08\0\0\0", 14))));
    EXPECT_FALSE(readTiffStructure(bytesOf(
        std::string("II*\0\x08\0\0\0\x01\0\x69\x87\x04\0\x01\0\0\0\x08\0\0\0\0\0\0\0", 26))));
}

TEST(TiffDirectory, EntriesOfUnknownTypesAreSkipped) {
    const auto read = readTiffStructure(bytesOf(
        std::string("II*\0\x08\0\0\0\x01\0\x69\x88\x63\0\x01\0\0\0\x08\0\0\0\0\0\0\0", 26)));
    ASSERT_TRUE(read.has_value());
    EXPECT_THAT(read->pages.front().entries, SizeIs(0));
}

}  // namespace lumaweave
