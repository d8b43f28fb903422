// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ByteOrder.h"

#include <gmock/gmock.h>

#include <array>
#include <string>
#include <vector>

namespace lumaweave {

namespace {

using testing::ElementsAre;

constexpr std::array<unsigned char, 8> bytes = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0xF8};

}  // namespace

TEST(ByteOrder, ReadsNumbersOfEveryTypeInEitherOrder) {
    EXPECT_EQ(readNumber<std::uint8_t>(&bytes[7], std::endian::big), 0xF8U);
    EXPECT_EQ(readNumber<std::uint16_t>(bytes.data(), std::endian::big), 0x1122U);
    EXPECT_EQ(readNumber<std::uint16_t>(bytes.data(), std::endian::little), 0x2211U);
    EXPECT_EQ(readNumber<std::uint32_t>(bytes.data(), std::endian::big), 0x11223344U);
    EXPECT_EQ(readNumber<std::uint32_t>(&bytes[4], std::endian::little), 0xF8776655U);
    EXPECT_EQ(readNumber<std::uint64_t>(bytes.data(), std::endian::big), 0x11223344556677F8U);
    EXPECT_EQ(readNumber<std::uint64_t>(bytes.data(), std::endian::little), 0xF877665544332211U);
}

TEST(ByteOrder, ReadsNumbersOfAnyWidth) {
    EXPECT_EQ(readNumber(bytes.data(), 3, std::endian::big), 0x112233U);
    EXPECT_EQ(readNumber(bytes.data(), 3, std::endian::little), 0x332211U);
    EXPECT_EQ(readNumber(bytes.data(), 0, std::endian::big), 0U);
}

TEST(ByteOrder, ReadsWhateverBytesAreMadeOf) {
    const std::string text = "\xFE\xDC";
    const std::vector<std::byte> raw = {std::byte{0xFE}, std::byte{0xDC}};
    EXPECT_EQ(readNumber<std::uint16_t>(text.data(), std::endian::big), 0xFEDCU);
    EXPECT_EQ(readNumber<std::uint16_t>(raw.data(), std::endian::little), 0xDCFEU);
    static_assert(readNumber<std::uint32_t>(bytes.data(), std::endian::big) == 0x11223344U);
}

TEST(ByteOrder, TheMachinesOwnOrderIsThatOfItsMemory) {
    const std::uint32_t number = 0x01020304;
    EXPECT_EQ(readNumber<std::uint32_t>(reinterpret_cast<const unsigned char*>(&number),
                                        std::endian::native),
              number);
}

TEST(ByteOrder, AppendsAndWritesNumbers) {
    std::vector<unsigned char> made;
    appendNumber(made, std::uint16_t{0x1122}, std::endian::big);
    appendNumber(made, std::uint32_t{0x33445566}, std::endian::little);
    appendNumber(made, 0x778899, 3, std::endian::big);
    EXPECT_THAT(made, ElementsAre(0x11, 0x22, 0x66, 0x55, 0x44, 0x33, 0x77, 0x88, 0x99));
    writeNumber(&made[2], 0xAABBCC, 2, std::endian::big);
    EXPECT_THAT(made, ElementsAre(0x11, 0x22, 0xBB, 0xCC, 0x44, 0x33, 0x77, 0x88, 0x99));
    std::string text = "x";
    appendNumber(text, std::uint64_t{0xF1}, std::endian::big);
    EXPECT_EQ(text, std::string("x\0\0\0\0\0\0\0\xF1", 9));
}

TEST(Swizzle, ReversesTheFourBytes) {
    const std::uint32_t value = 0x11223344;
    EXPECT_EQ(SwizzleUInt32Long(&value), 0x44332211U);
    static_assert(SwizzleUInt32Long(&value) == 0x44332211U);
}

}  // namespace lumaweave
