// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/HostileFiles.h"

#include <zlib.h>

#include <array>
#include <stdexcept>
#include <vips/vips8>

#include "imaging/formats/VipsLibrary.h"

namespace lumaweave::test {

using vips::VImage;

namespace {

std::string bigEndian(std::uint32_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(value >> shift & 0xFFU);
    return bytes;
}

std::string chunk(const std::string& name, const std::string& data) {
    const std::string body = name + data;
    const auto* bytes = reinterpret_cast<const Bytef*>(body.data());
    const uLong sum = crc32(0, bytes, static_cast<uInt>(body.size()));
    return bigEndian(static_cast<std::uint32_t>(data.size())) + body +
           bigEndian(static_cast<std::uint32_t>(sum));
}

std::string saved(const VImage& image, const std::string& format) {
    void* bytes = nullptr;
    std::size_t size = 0;
    image.write_to_buffer(format.c_str(), &bytes, &size);
    std::string result(static_cast<const char*>(bytes), size);
    g_free(bytes);
    return result;
}

}  // namespace

std::string interlacedPngThatClaims(std::uint32_t width, std::uint32_t height) {
    const std::string header =
        bigEndian(width) + bigEndian(height) + std::string("\x10\6\0\0\1", 5);
    return "\x89PNG\r\n\x1A\n" + chunk("IHDR", header) + chunk("IDAT", compressedZeros(1000)) +
           chunk("IEND", "");
}

std::string jpegOfManyScans(int width, int height) {
    constexpr char components = 3;
    constexpr char highestBit = 13;
    const int blocks = ((width + 7) / 8) * ((height + 7) / 8);
    std::string bytes("\xFF\xD8\xFF\xDB\0\x43\0", 7);
    bytes += std::string(64, '\1');  // the quantisation table
    bytes += std::string("\xFF\xC2\0\x11\x08", 5) +
             bigEndian(static_cast<std::uint32_t>(height)).substr(2) +
             bigEndian(static_cast<std::uint32_t>(width)).substr(2) + components;
    for (char c = 1; c <= components; ++c)
        bytes += std::string{c, '\x11', '\0'};
    // One code in each table, "0": no difference, and "the next 16384 blocks or more are zero".
    const std::string counts = '\1' + std::string(15, '\0');
    bytes += std::string("\xFF\xC4\0\x14\0", 5) + counts + '\0';
    bytes += std::string("\xFF\xC4\0\x14\x10", 5) + counts + '\xE0';
    const auto startScan = [&bytes](const std::string& of, char first, char last, int bits) {
        bytes += std::string("\xFF\xDA\0", 3) + static_cast<char>(6 + of.size()) +
                 static_cast<char>(of.size() / 2) + of + first + last + static_cast<char>(bits);
    };
    startScan(std::string("\1\0\2\0\3\0", 6), 0, 0, 0);
    bytes += std::string(static_cast<std::size_t>(blocks * components + 7) / 8, '\0');
    // A run of 32767 blocks: the code, and 14 bits that are set; then bits to fill the bytes with.
    constexpr int longestRun = 32767;
    std::string run;
    std::string bits;
    for (int i = 0; i < (blocks + longestRun - 1) / longestRun; ++i)
        bits += "0" + std::string(14, '1');
    bits += std::string((8 - bits.size() % 8) % 8, '1');
    for (std::size_t i = 0; i < bits.size(); i += 8) {
        run += static_cast<char>(std::stoi(bits.substr(i, 8), nullptr, 2));
        if (run.back() == '\xFF') run += '\0';
    }
    for (char c = 1; c <= components; ++c) {
        for (char k = 1; k < 64; ++k) {
            for (int bit = highestBit; bit >= 0; --bit) {
                startScan({c, '\0'}, k, k, bit == highestBit ? bit : (bit + 1) << 4 | bit);
                bytes += run;
            }
        }
    }
    return bytes + "\xFF\xD9";
}

std::string pngWithChunk(const std::string& name, const std::string& data) {
    startVips();
    std::string bytes =
        saved(VImage::black(8, 8, VImage::option()->set("bands", 3)), ".png[strip]");
    constexpr std::size_t headerEnd = 33;
    return bytes.insert(headerEnd, chunk(name, data));
}

std::string compressedZeros(std::size_t count) {
    z_stream stream{};
    if (deflateInit(&stream, Z_BEST_COMPRESSION) != Z_OK) throw std::runtime_error("zlib");
    std::array<Bytef, 65536> zeros{};
    std::array<Bytef, 65536> out{};
    std::string result;
    int state = Z_OK;
    while (state != Z_STREAM_END) {
        if (stream.avail_in == 0 && count > 0) {
            stream.next_in = zeros.data();
            stream.avail_in = static_cast<uInt>(std::min(count, zeros.size()));
            count -= stream.avail_in;
        }
        stream.next_out = out.data();
        stream.avail_out = out.size();
        state = deflate(&stream, count == 0 ? Z_FINISH : Z_NO_FLUSH);
        result.append(reinterpret_cast<const char*>(out.data()), out.size() - stream.avail_out);
    }
    deflateEnd(&stream);
    return result;
}

}  // namespace lumaweave::test
