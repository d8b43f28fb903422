// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/metadata/MetadataBlocks.h"

#include <gtest/gtest.h>

// Metadata on its way from one process to the other.

namespace lumaweave {

namespace {

std::vector<std::byte> bytesOf(const std::string& text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

}  // namespace

TEST(MetadataBlocks, ComeBackAsTheyWere) {
    for (const MetadataBlocks& blocks :
         {MetadataBlocks{"{ a = 1;\nb = 2 }", bytesOf(std::string("II*\0\n", 5)), bytesOf("MM")},
          MetadataBlocks{"", {}, {}}, MetadataBlocks{"metadata 1 2 3\n", bytesOf("\n"), {}}}) {
        const auto back = unpackMetadata(packMetadata(blocks));
        ASSERT_TRUE(back.has_value());
        EXPECT_EQ(back->description, blocks.description);
        EXPECT_EQ(back->littleEndian, blocks.littleEndian);
        EXPECT_EQ(back->bigEndian, blocks.bigEndian);
    }
}

TEST(MetadataBlocks, AreNothingElse) {
    const std::string whole = packMetadata({"words", bytesOf("little"), bytesOf("big")});
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(unpackMetadata(whole.substr(0, size)).has_value()) << size;
    EXPECT_FALSE(unpackMetadata(whole + "x").has_value());
    for (const char* bytes :
         {"", "\n", "metadata\n", "metadata 0 0\n", "metadata 0 0 0 0\n", "metadata 0 0 0 \n",
          "metadata  0 0 0\n", "metadata -1 0 0\n", "metadata +1 0 0\nx",
          "metadata 18446744073709551615 1 0\nxy", "metadata 99999999999999999999 0 0\n",
          "metadata 1 18446744073709551615 0\nx", "other 0 0 0\n", "metadata 0 0 0"}) {
        EXPECT_FALSE(unpackMetadata(bytes).has_value()) << bytes;
    }
}

TEST(MetadataBlocks, AreGivenByTheOrderOfTheirBytes) {
    const MetadataBlocks blocks{"", bytesOf("II"), bytesOf("MM")};
    EXPECT_EQ(blocks.block(false), bytesOf("II"));
    EXPECT_EQ(blocks.block(true), bytesOf("MM"));
}

}  // namespace lumaweave
