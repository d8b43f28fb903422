// SPDX-License-Identifier: GPL-3.0-or-later
#include "panorama/Sections.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <vector>

namespace lumaweave {

namespace {

// A picture whose every pixel has a number of its own in red, green and blue, and some alpha.
std::vector<std::uint32_t> numbered(int width, int height) {
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width) *
                                      static_cast<std::size_t>(height));
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const unsigned char bytes[] = {
            static_cast<unsigned char>(i >> 16), static_cast<unsigned char>(i >> 8),
            static_cast<unsigned char>(i), static_cast<unsigned char>(i * 31)};
        std::memcpy(&pixels[i], bytes, sizeof bytes);
    }
    return pixels;
}

std::vector<std::uint32_t> sectionAt(const std::vector<std::uint32_t>& pixels, int width,
                                     int height, int row, int column) {
    const SectionSize size = sectionSizeOf(width, height);
    std::vector<std::uint32_t> section(static_cast<std::size_t>(size.width) *
                                       static_cast<std::size_t>(size.height));
    copySection(pixels.data(), width, size, row, column, section.data());
    return section;
}

}  // namespace

TEST(Sections, A4000By2000ImageHasSectionsOf500By500) {
    const SectionSize size = sectionSizeOf(4000, 2000);
    EXPECT_EQ(size.width, 500);
    EXPECT_EQ(size.height, 500);
}

TEST(Sections, TheRestOfTheDivisionIsDropped) {
    const SectionSize size = sectionSizeOf(4003, 2002);
    EXPECT_EQ(size.width, 500);
    EXPECT_EQ(size.height, 500);
}

TEST(Sections, TheRightMost3ColumnsAndBottom2RowsOf4003By2002NeverAppear) {
    constexpr int width = 4003;
    constexpr int height = 2002;
    const auto pixels = numbered(width, height);
    std::vector<bool> seen(pixels.size(), false);
    for (int k = 0; k < 32; ++k) {
        for (const std::uint32_t word : sectionAt(pixels, width, height, k / 8, k % 8)) {
            const std::size_t index = word & 0xFFFFFFU;
            ASSERT_FALSE(seen[index]) << "twice";
            seen[index] = true;
        }
    }
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto index = static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x);
            ASSERT_EQ(seen[index], x < 4000 && y < 2000) << x << ", " << y;
        }
    }
}

TEST(Sections, RedGreenAndBlueMoveIntoPlaceAndAlphaBecomesOpaque) {
    // As read on a little-endian machine: 0xAABBGGRR.
    std::vector<std::uint32_t> pixels(8 * 4, 0x00332211);
    pixels[0] = 0x7F030201;
    EXPECT_EQ(sectionAt(pixels, 8, 4, 0, 0), std::vector<std::uint32_t>{0xFF010203});
    EXPECT_EQ(sectionAt(pixels, 8, 4, 3, 7), std::vector<std::uint32_t>{0xFF112233});
}

TEST(Sections, SectionsLieInRowsFromTheTopLeft) {
    constexpr int width = 16;
    constexpr int height = 12;
    const auto pixels = numbered(width, height);
    for (int k = 0; k < 32; ++k) {
        const auto section = sectionAt(pixels, width, height, k / 8, k % 8);
        ASSERT_EQ(section.size(), 6U);
        for (int y = 0; y < 3; ++y) {
            for (int x = 0; x < 2; ++x) {
                const int source = (k / 8 * 3 + y) * width + k % 8 * 2 + x;
                EXPECT_EQ(section[static_cast<std::size_t>(y * 2 + x)],
                          0xFF000000U + static_cast<std::uint32_t>(source));
            }
        }
    }
}

TEST(Sections, ImagesNarrowerThan8OrLowerThan4HaveEmptySections) {
    EXPECT_EQ(sectionSizeOf(7, 400).width, 0);
    EXPECT_EQ(sectionSizeOf(700, 3).height, 0);
    const auto pixels = numbered(7, 3);
    EXPECT_TRUE(sectionAt(pixels, 7, 3, 3, 7).empty());
}

TEST(Sections, MemoryIsThatOfThePixelsTheTexturesAndOneSection) {
    EXPECT_EQ(panoramaMemory(8, 4), 4U * (32 + 32 + 1));
    // Beyond what 32 bits count.
    EXPECT_EQ(panoramaMemory(32768, 16384), 4ULL * 32768 * 16384 / 32 * 65);
}

}  // namespace lumaweave
