// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>

namespace lumaweave {

// Numbers in files, in a given byte order. The caller sees to it that the bytes are there. Pure;
// any thread.

template <typename Type>
concept ByteLike =
    std::same_as<Type, std::byte> || std::same_as<Type, char> || std::same_as<Type, unsigned char>;

// The number in byteCount bytes, 8 at most.
template <ByteLike Byte>
[[nodiscard]] constexpr std::uint64_t readNumber(const Byte* bytes, std::size_t byteCount,
                                                 std::endian order) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < byteCount; ++i) {
        const Byte byte = bytes[order == std::endian::big ? i : byteCount - 1 - i];
        number = number << 8U | static_cast<unsigned char>(byte);
    }
    return number;
}

// The number with its bytes reversed.
template <std::unsigned_integral Number>
[[nodiscard]] constexpr Number reversed(Number number) {
    if constexpr (sizeof number == 2) return __builtin_bswap16(number);
    if constexpr (sizeof number == 4) return __builtin_bswap32(number);
    if constexpr (sizeof number == 8) return __builtin_bswap64(number);
    return number;
}

// The number in as many bytes as its type has: one instruction or two.
template <std::unsigned_integral Number, ByteLike Byte>
[[nodiscard]] constexpr Number readNumber(const Byte* bytes, std::endian order) {
    std::array<Byte, sizeof(Number)> own{};
    std::copy_n(bytes, own.size(), own.begin());
    const auto number = std::bit_cast<Number>(own);
    return order == std::endian::native ? number : reversed(number);
}

// Writes the lowest byteCount bytes of the number, 8 at most.
template <ByteLike Byte>
constexpr void writeNumber(Byte* to, std::uint64_t number, std::size_t byteCount,
                           std::endian order) {
    for (std::size_t i = 0; i < byteCount; ++i) {
        to[order == std::endian::big ? byteCount - 1 - i : i] =
            static_cast<Byte>(static_cast<unsigned char>(number >> (8 * i) & 0xFFU));
    }
}

// The same at the end of a vector or string of bytes.
template <typename Bytes>
constexpr void appendNumber(Bytes& to, std::uint64_t number, std::size_t byteCount,
                            std::endian order) {
    to.resize(to.size() + byteCount);
    writeNumber(to.data() + to.size() - byteCount, number, byteCount, order);
}

// All bytes of the number.
template <std::unsigned_integral Number, typename Bytes>
constexpr void appendNumber(Bytes& to, Number number, std::endian order) {
    appendNumber(to, number, sizeof number, order);
}

// The four bytes of the value pointed to, reversed. Here, so that loops over pixels can be
// vectorised. (The name is fixed.)
[[nodiscard]] constexpr std::uint32_t SwizzleUInt32Long(const std::uint32_t* value) {
    return __builtin_bswap32(*value);
}

}  // namespace lumaweave
