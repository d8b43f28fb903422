// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/RawTiff.h"

#include <algorithm>
#include <array>
#include <vector>

#include "platform/ByteOrder.h"

namespace lumaweave {

namespace {

constexpr std::uint16_t photometricTag = 262;
constexpr std::uint16_t subDirectoriesTag = 330;
constexpr std::uint16_t dngVersionTag = 50706;
constexpr std::uint32_t colourMosaic = 32803;
constexpr std::uint32_t linearRaw = 34892;

// A walk through the directories of a TIFF that reads no more than what tells a raw file.
class RawSearch {
  public:
    explicit RawSearch(const ReadBytes& read) : read_(read) {}

    bool run() {
        std::array<std::byte, 8> header{};
        if (!read_(0, header.data(), header.size())) return false;
        order_ = header[0] == std::byte{'M'} ? std::endian::big : std::endian::little;
        if (shortAt(&header[2]) != 42) return false;  // 64-bit offsets: no camera writes them
        pending_.push_back(longAt(&header[4]));
        // Cameras write some ten directories.
        constexpr std::size_t mostDirectories = 64;
        for (std::size_t i = 0; i < pending_.size() && i < mostDirectories; ++i) {
            if (isRaw(pending_[i])) return true;
        }
        return false;
    }

  private:
    [[nodiscard]] std::uint16_t shortAt(const std::byte* bytes) const {
        return readNumber<std::uint16_t>(bytes, order_);
    }
    [[nodiscard]] std::uint32_t longAt(const std::byte* bytes) const {
        return readNumber<std::uint32_t>(bytes, order_);
    }

    void addDirectory(std::uint32_t offset) {
        if (offset == 0 || std::count(pending_.begin(), pending_.end(), offset) != 0) return;
        pending_.push_back(offset);
    }

    // Adds the directory whose offset stands at that place.
    void addDirectoryOf(std::uint64_t place) {
        std::array<std::byte, 4> offset{};
        if (read_(place, offset.data(), offset.size())) addDirectory(longAt(offset.data()));
    }

    void addSubDirectories(std::uint32_t count, std::uint32_t where) {
        constexpr std::uint32_t mostChildren = 16;
        if (count == 1) addDirectory(where);
        for (std::uint32_t i = 0; count > 1 && i < std::min(count, mostChildren); ++i)
            addDirectoryOf(std::uint64_t{where} + 4ULL * i);
    }

    bool isRaw(std::uint32_t offset) {
        std::array<std::byte, 2> countBytes{};
        if (!read_(offset, countBytes.data(), countBytes.size())) return false;
        constexpr std::size_t entryBytes = 12;
        std::vector<std::byte> entries(shortAt(countBytes.data()) * entryBytes);
        if (!read_(std::uint64_t{offset} + 2, entries.data(), entries.size())) return false;
        for (std::size_t i = 0; i < entries.size(); i += entryBytes) {
            if (isOfRaw(&entries[i])) return true;
        }
        addDirectoryOf(std::uint64_t{offset} + 2 + entries.size());  // the next one
        return false;
    }

    bool isOfRaw(const std::byte* entry) {
        constexpr std::uint16_t shortType = 3;
        const std::uint16_t tag = shortAt(entry);
        if (tag == dngVersionTag) return true;
        if (tag == photometricTag) {
            const bool isShort = shortAt(entry + 2) == shortType;
            const std::uint32_t kind = isShort ? shortAt(entry + 8) : longAt(entry + 8);
            return kind == colourMosaic || kind == linearRaw;
        }
        if (tag == subDirectoriesTag) addSubDirectories(longAt(entry + 4), longAt(entry + 8));
        return false;
    }

    const ReadBytes& read_;
    std::endian order_ = std::endian::little;
    std::vector<std::uint32_t> pending_;
};

}  // namespace

bool isRawTiff(const ReadBytes& read) {
    return RawSearch(read).run();
}

}  // namespace lumaweave
