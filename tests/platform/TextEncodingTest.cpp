// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/TextEncoding.h"

#include <gmock/gmock.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace lumaweave {

TEST(TextEncoding, AsciiStaysAsItIs) {
    EXPECT_EQ(toMacRoman(""), "");
    EXPECT_EQ(toMacRoman("/home/a b/shot_1 (2).tif"), "/home/a b/shot_1 (2).tif");
    EXPECT_EQ(toMacRoman("\x01\x7F~"), "\x01\x7F~");
}

TEST(TextEncoding, CharactersOfMacRomanGetTheirByte) {
    const std::vector<std::pair<std::string, std::string>> known = {
        {"\u00C4", "\x80"}, {"\u00E9", "\x8E"}, {"\u00DF", "\xA7"}, {"\u00A9", "\xA9"},
        {"\u03A9", "\xBD"}, {"\u2026", "\xC9"}, {"\u00A0", "\xCA"}, {"\u2013", "\xD0"},
        {"\u20AC", "\xDB"}, {"\uFB01", "\xDE"}, {"\uF8FF", "\xF0"}, {"\u02C7", "\xFF"}};
    for (const auto& [utf8, byte] : known)
        EXPECT_EQ(toMacRoman(utf8), byte) << utf8;
    EXPECT_EQ(toMacRoman("caf\u00E9 \u20AC5"), "caf\x8E \xDB\x35");
}

TEST(TextEncoding, EveryUpperByteStandsForSomeCharacter) {
    std::set<char> bytes;
    for (int code = 0x80; code < 0x10000; ++code) {
        std::string utf8;
        if (code < 0x800) {
            utf8 += static_cast<char>(0xC0 | (code >> 6));
        } else {
            utf8 += static_cast<char>(0xE0 | (code >> 12));
            utf8 += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        }
        utf8 += static_cast<char>(0x80 | (code & 0x3F));
        const auto encoded = toMacRoman(utf8);
        if (!encoded) continue;
        ASSERT_EQ(encoded->size(), 1U) << code;
        if (static_cast<unsigned char>(encoded->front()) >= 0x80) bytes.insert(encoded->front());
    }
    EXPECT_EQ(bytes.size(), 128U);
}

TEST(TextEncoding, DecomposedLettersCountAsOne) {
    EXPECT_EQ(toMacRoman("e\u0301"), "\x8E");
    EXPECT_EQ(toMacRoman("A\u0308rger"), "\x80rger");
}

TEST(TextEncoding, OtherCharactersHaveNone) {
    EXPECT_EQ(toMacRoman("\u0416"), std::nullopt);            // Cyrillic
    EXPECT_EQ(toMacRoman("a \u65E5 b"), std::nullopt);        // Japanese
    EXPECT_EQ(toMacRoman("\xF0\x9F\x8C\x84"), std::nullopt);  // a picture of a sunrise
    EXPECT_EQ(toMacRoman("x\u0301"), std::nullopt);           // an accent on no such letter
    EXPECT_EQ(toMacRoman("\u0161"), std::nullopt);            // s with caron
}

TEST(TextEncoding, AByteOrderMarkIsNotPassedOver) {
    EXPECT_EQ(toMacRoman("\uFEFF"), std::nullopt);
    EXPECT_EQ(toMacRoman("\uFEFFshot.tif"), std::nullopt);
}

TEST(TextEncoding, WhatIsNotUtf8HasNone) {
    EXPECT_EQ(toMacRoman("\xFF"), std::nullopt);
    EXPECT_EQ(toMacRoman("caf\xE9.jpg"), std::nullopt);   // Latin-1
    EXPECT_EQ(toMacRoman("abc\xC3"), std::nullopt);       // cut off in a character
    EXPECT_EQ(toMacRoman("\xC0\xAF"), std::nullopt);      // overlong
    EXPECT_EQ(toMacRoman("\xED\xA0\x80"), std::nullopt);  // half a surrogate pair
}

}  // namespace lumaweave
