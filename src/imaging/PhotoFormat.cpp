#include "imaging/PhotoFormat.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <string_view>
#include <vector>

namespace lumaweave {

namespace {

using namespace std::string_view_literals;

// ISO base media files begin with a box that names the brands they can be read as.
PhotoFormat formatOfBrands(std::string_view head) {
    // Length of the box, its name, the main brand, a version, further brands.
    constexpr std::size_t brandBytes = 4;
    for (std::size_t at = 8; at + brandBytes <= head.size(); at += brandBytes) {
        const std::string_view brand = head.substr(at, brandBytes);
        if (brand == "crx ") return PhotoFormat::raw;
        for (const auto known : {"heic", "heix", "heim", "heis", "mif1", "avif", "avis", "miaf"}) {
            if (brand == known) return PhotoFormat::heif;
        }
        if (at == 8) at += brandBytes;  // the version
    }
    return PhotoFormat::none;
}

bool isPortableMap(std::string_view head) {
    return head.size() > 2 && head[0] == 'P' && head[1] >= '1' && head[1] <= '6' &&
           std::isspace(static_cast<unsigned char>(head[2])) != 0;
}

}  // namespace

PhotoFormat formatOfHead(std::span<const std::byte> bytes) {
    const std::string_view head(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const auto at = [head](std::size_t offset, std::string_view what) {
        return head.size() >= offset + what.size() && head.substr(offset, what.size()) == what;
    };
    if (at(0, "\xFF\xD8\xFF"sv)) return PhotoFormat::jpeg;
    if (at(0, "\x89PNG\r\n\x1A\n"sv)) return PhotoFormat::png;
    if (at(0, "RIFF"sv) && at(8, "WEBP"sv)) return PhotoFormat::webp;
    if (at(0, "II*\0"sv) && at(8, "CR\2"sv)) return PhotoFormat::raw;
    for (const auto tiff : {"II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv}) {
        if (at(0, tiff)) return PhotoFormat::tiff;
    }
    for (const auto raw : {"IIRO"sv, "IIRS"sv, "MMOR"sv, "IIU\0"sv, "FUJIFILMCCD-RAW"sv}) {
        if (at(0, raw)) return PhotoFormat::raw;
    }
    if (at(4, "ftyp"sv)) return formatOfBrands(head);
    if (at(0, "\0\0\0\x0CjP  \r\n\x87\n"sv) || at(0, "\xFF\x4F\xFF\x51"sv)) {
        return PhotoFormat::jpeg2000;
    }
    if (at(0, "\xFF\x0A"sv) || at(0, "\0\0\0\x0CJXL \r\n\x87\n"sv)) return PhotoFormat::jpegXl;
    if (at(0, "\x76\x2F\x31\x01"sv)) return PhotoFormat::openExr;
    if (at(0, "#?RADIANCE"sv) || at(0, "#?RGBE"sv)) return PhotoFormat::radiance;
    if (at(0, "GIF87a"sv) || at(0, "GIF89a"sv) || isPortableMap(head)) return PhotoFormat::simple;
    // Letters that a text may begin with, too: the four reserved bytes behind the size are zero.
    if (at(0, "BM"sv) && at(6, "\0\0\0\0"sv)) return PhotoFormat::simple;
    return PhotoFormat::none;
}

namespace {

constexpr std::uint16_t photometricTag = 262;
constexpr std::uint16_t subDirectoriesTag = 330;
constexpr std::uint16_t dngVersionTag = 50706;
constexpr std::uint32_t colourMosaic = 32803;
constexpr std::uint32_t linearRaw = 34892;

// A walk through the directories of a TIFF that reads as little as tells whether it is a raw file.
class RawSearch {
  public:
    explicit RawSearch(const ReadBytes& read) : read_(read) {}

    bool run() {
        std::array<unsigned char, 8> header{};
        if (!read_(0, header.data(), header.size())) return false;
        bigEndian_ = header[0] == 'M';
        if (number(&header[2], 2) != 42) return false;  // 64-bit offsets: no camera writes them
        pending_.push_back(number(&header[4], 4));
        // Cameras write some ten directories.
        constexpr std::size_t mostDirectories = 64;
        for (std::size_t i = 0; i < pending_.size() && i < mostDirectories; ++i) {
            if (isRaw(pending_[i])) return true;
        }
        return false;
    }

  private:
    [[nodiscard]] std::uint32_t number(const unsigned char* bytes, std::size_t count) const {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < count; ++i)
            value = value << 8 | bytes[bigEndian_ ? i : count - 1 - i];
        return value;
    }

    void addDirectory(std::uint32_t offset) {
        if (offset == 0 || std::count(pending_.begin(), pending_.end(), offset) != 0) return;
        pending_.push_back(offset);
    }

    void addSubDirectories(std::uint32_t count, const unsigned char* value) {
        constexpr std::uint32_t mostChildren = 16;
        const std::uint32_t where = number(value, 4);
        if (count == 1) addDirectory(where);
        for (std::uint32_t i = 0; count > 1 && i < std::min(count, mostChildren); ++i) {
            std::array<unsigned char, 4> offset{};
            if (read_(std::uint64_t{where} + 4ULL * i, offset.data(), offset.size())) {
                addDirectory(number(offset.data(), offset.size()));
            }
        }
    }

    bool isRaw(std::uint32_t offset) {
        std::array<unsigned char, 2> countBytes{};
        if (!read_(offset, countBytes.data(), countBytes.size())) return false;
        constexpr std::size_t entryBytes = 12;
        std::vector<unsigned char> entries(number(countBytes.data(), 2) * entryBytes);
        if (!read_(std::uint64_t{offset} + 2, entries.data(), entries.size())) return false;
        for (std::size_t i = 0; i < entries.size(); i += entryBytes) {
            const std::uint32_t tag = number(&entries[i], 2);
            const bool isShort = number(&entries[i + 2], 2) == 3;
            if (tag == dngVersionTag) return true;
            if (tag == photometricTag) {
                const std::uint32_t kind = number(&entries[i + 8], isShort ? 2 : 4);
                if (kind == colourMosaic || kind == linearRaw) return true;
            }
            if (tag == subDirectoriesTag) {
                addSubDirectories(number(&entries[i + 4], 4), &entries[i + 8]);
            }
        }
        std::array<unsigned char, 4> next{};
        if (read_(std::uint64_t{offset} + 2 + entries.size(), next.data(), next.size())) {
            addDirectory(number(next.data(), next.size()));
        }
        return false;
    }

    const ReadBytes& read_;
    bool bigEndian_ = false;
    std::vector<std::uint32_t> pending_;
};

}  // namespace

std::span<const std::string_view> usualEndings() {
    static constexpr std::string_view endings[] = {
        "jpg",  "jpeg", "png", "tif", "tiff", "webp", "heic", "heif", "hif",
        "avif", "jp2",  "j2k", "jxl", "exr",  "hdr",  "bmp",  "cr2",  "cr3",
        "nef",  "arw",  "raf", "orf", "rw2",  "pef",  "dng"};
    return endings;
}

bool isRawTiff(const ReadBytes& read) {
    return RawSearch(read).run();
}

PhotoFormat photoFormatOf(const ReadBytes& read) {
    std::array<std::byte, formatHeadBytes> head{};
    std::size_t size = head.size();
    while (size > 0 && !read(0, head.data(), size))
        --size;
    const PhotoFormat format = formatOfHead(std::span(head).first(size));
    return format == PhotoFormat::tiff && isRawTiff(read) ? PhotoFormat::raw : format;
}

}  // namespace lumaweave
