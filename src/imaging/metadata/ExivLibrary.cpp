// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/metadata/ExivLibrary.h"

#include <algorithm>
#include <array>
#include <exiv2/webpimage.hpp>
#include <mutex>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "imaging/metadata/HeifMetadata.h"
#include "imaging/tiff/TiffDirectory.h"
#include "platform/ByteOrder.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

std::mutex xmpMutex;

void lockXmp(void* mutex, bool lock) {
    if (lock) {
        static_cast<std::mutex*>(mutex)->lock();
    } else {
        static_cast<std::mutex*>(mutex)->unlock();
    }
}

void logMessage(int, const char* message) {
    std::string line(message);
    while (!line.empty() && line.back() == '\n')
        line.pop_back();
    logLine(line);
}

bool isPhotograph(int type) {
    using namespace Exiv2::ImageType;
    constexpr std::array types = {jpeg, tiff, png, webp, bmff, cr2, crw, raf, orf,
                                  rw2,  mrw,  dng, nef,  pef,  arw, sr2, srw};
    return std::find(types.begin(), types.end(), type) != types.end();
}

// Little enough to read. Larger files may claim more, but not more than their own size.
constexpr std::uint64_t mostClaimedBytes = std::uint64_t{128} << 20;

// Refuses a structure whose values lie on top of one another to be read a thousand times.
void requireHonest(const ReadBytes& read, std::uint64_t size) {
    if (claimedValueBytes(read, size) > std::max(mostClaimedBytes, size)) {
        throw std::runtime_error("its records claim more than a file can have");
    }
}

void requireHonest(std::span<const unsigned char> bytes) {
    requireHonest(readBytesOf(std::as_bytes(bytes)), bytes.size());
}

// The EXIF of a PNG or WebP file lies in a chunk of its own, with these bytes in front of it.
void requireHonestChunk(std::span<const unsigned char> chunk) {
    constexpr std::string_view mark("Exif\0\0", 6);
    const bool marked =
        chunk.size() > mark.size() && std::equal(mark.begin(), mark.end(), chunk.begin());
    requireHonest(chunk.subspan(marked ? mark.size() : 0));
}

void requireHonestChunks(const FileDescriptor& file) {
    std::array<unsigned char, 12> head{};
    if (!file.readAt(0, head.data(), head.size())) return;
    const bool png = std::equal(head.begin() + 1, head.begin() + 4, "PNG");
    const bool webp = std::equal(head.begin() + 8, head.begin() + 12, "WEBP");
    if (!png && !webp) return;
    const std::uint64_t headBytes = 8;
    std::uint64_t offset = png ? 8 : 12;
    while (file.readAt(offset, head.data(), headBytes)) {
        const std::uint64_t size = png ? readNumber<std::uint32_t>(&head[0], std::endian::big)
                                       : readNumber<std::uint32_t>(&head[4], std::endian::little);
        const auto* name = png ? &head[4] : &head[0];
        if (std::equal(name, name + 4, png ? "eXIf" : "EXIF") && size < file.size()) {
            std::vector<unsigned char> chunk(size);
            if (!file.readAt(offset + headBytes, chunk.data(), chunk.size())) return;
            requireHonestChunk(chunk);
        }
        offset += headBytes + size + (png ? 4 : size % 2);
    }
}

void requireHonestFile(const fs::path& path) {
    const FileDescriptor file = FileDescriptor::ofRegularFile(path);
    requireHonest(readBytesOf(file), file.size());
    requireHonestChunks(file);
}

ExivRecords recordsOf(const HeifMetadata& heif) {
    ExivRecords records;
    if (!heif.xmp.empty()) Exiv2::XmpParser::decode(records.xmp, heif.xmp);
    if (heif.exif.empty()) return records;
    requireHonest(heif.exif);
    try {
        Exiv2::ExifParser::decode(records.exif, heif.exif.data(),
                                  static_cast<std::uint32_t>(heif.exif.size()));
    } catch (const std::exception& error) {
        logLine(std::string("The EXIF is damaged: ") + error.what());
    }
    return records;
}

// Throws when the file is damaged beyond reading.
ExivRecords readRecords(const fs::path& path) {
    if (const auto heif = readHeifMetadata(path)) return recordsOf(*heif);
    requireHonestFile(path);
    const auto image = Exiv2::ImageFactory::open(path.native());
    if (!isPhotograph(image->imageType())) return {};
    image->readMetadata();
    ExivRecords records{image->exifData(), image->iptcData(), image->xmpData()};
    const bool goesOn = std::any_of(records.xmp.begin(), records.xmp.end(), [](const auto& datum) {
        return datum.tagName() == "HasExtendedXMP";
    });
    if (goesOn) logLine("Only the first 64 kB of the XMP are read");
    return records;
}

}  // namespace

void startExiv() {
    static std::once_flag once;
    std::call_once(once, [] {
        // Its XMP part is one toolkit for the whole process.
        Exiv2::XmpParser::initialize(lockXmp, &xmpMutex);
        Exiv2::enableBMFF(true);  // HEIC and its relatives
        // Unknown tags and odd values are every camera's habit.
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::error);
        Exiv2::LogMsg::setHandler(logMessage);
    });
}

std::optional<ExivRecords> readExivRecords(const fs::path& path) {
    startExiv();
    if (!FileDescriptor::ofRegularFile(path).isOpen()) {
        logLine("Cannot read " + path.native());
        return std::nullopt;
    }
    try {
        return readRecords(path);
    } catch (const std::exception& error) {
        logLine(path.native() + ": " + error.what());
        return std::nullopt;
    }
}

}  // namespace lumaweave
