// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/tiff/TiffDirectory.h"

#include <algorithm>
#include <array>
#include <limits>
#include <set>
#include <utility>

#include "imaging/tiff/TiffValues.h"
#include "platform/ByteOrder.h"

namespace lumaweave {

const TiffEntry* TiffDirectory::find(std::uint16_t tag) const {
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [tag](const TiffEntry& entry) { return entry.tag == tag; });
    return found == entries.end() ? nullptr : &*found;
}

TiffEntry* TiffDirectory::find(std::uint16_t tag) {
    return const_cast<TiffEntry*>(std::as_const(*this).find(tag));
}

void TiffDirectory::set(TiffEntry entry) {
    const auto at =
        std::lower_bound(entries.begin(), entries.end(), entry.tag,
                         [](const TiffEntry& a, std::uint16_t tag) { return a.tag < tag; });
    if (at != entries.end() && at->tag == entry.tag) {
        *at = std::move(entry);
    } else {
        entries.insert(at, std::move(entry));
    }
}

void TiffDirectory::remove(std::uint16_t tag) {
    std::erase_if(entries, [tag](const TiffEntry& entry) { return entry.tag == tag; });
}

TiffEntry shortEntry(std::uint16_t tag, std::uint16_t number, TiffFormat format) {
    TiffEntry entry;
    entry.tag = tag;
    entry.type = tiff_types::shortNumber;
    entry.count = 1;
    appendNumber(entry.value, number, format.order());
    return entry;
}

namespace {

constexpr int deepestDirectory = 4;

class DirectoryWalk {
  public:
    DirectoryWalk(const ReadBytes& read, std::uint64_t fileSize)
        : read_(read), fileSize_(fileSize) {}

    std::optional<TiffStructure> structure() {
        std::uint64_t next = 0;
        if (!readHeader(next)) return std::nullopt;
        TiffStructure result{format_, {}};
        while (next != 0) {
            TiffDirectory page;
            if (result.pages.size() == mostTiffPages || !readDirectory(next, 0, page, &next)) {
                return std::nullopt;
            }
            result.pages.push_back(std::move(page));
        }
        if (result.pages.empty()) return std::nullopt;
        return result;
    }

  private:
    // `first` becomes the offset of the first page's directory.
    bool readHeader(std::uint64_t& first) {
        std::array<std::byte, 16> header{};
        if (!readAt(0, header.data(), 8) || header[0] != header[1]) return false;
        format_.bigEndian = header[0] == std::byte{'M'};
        if (!format_.bigEndian && header[0] != std::byte{'I'}) return false;
        const std::uint64_t version = number(&header[2], 2);
        format_.big = version == 43;
        if (version != 42 && !format_.big) return false;
        if (!format_.big) {
            first = number(&header[4], 4);
            return true;
        }
        if (!readAt(8, &header[8], 8) || number(&header[4], 2) != 8) return false;
        first = number(&header[8], 8);
        return true;
    }

    bool readAt(std::uint64_t offset, void* to, std::size_t byteCount) const {
        return offset <= fileSize_ && byteCount <= fileSize_ - offset &&
               read_(offset, to, byteCount);
    }

    std::uint64_t number(const std::byte* bytes, std::size_t width) const {
        return readNumber(bytes, width, format_.order());
    }

    // `next` (null: not asked for) becomes the offset of the directory that follows.
    bool readDirectory(std::uint64_t offset, int depth, TiffDirectory& directory,
                       std::uint64_t* next) {
        if (depth > deepestDirectory || !visited_.insert(offset).second) return false;
        const std::size_t countBytes = format_.big ? 8 : 2;
        const std::size_t entryBytes = format_.big ? 20 : 12;
        const std::size_t linkBytes = format_.big ? 8 : 4;
        std::array<std::byte, 8> head{};
        if (!readAt(offset, head.data(), countBytes)) return false;
        const std::uint64_t count = number(head.data(), countBytes);
        entriesRead_ += count;
        if (count > std::numeric_limits<std::uint16_t>::max() || entriesRead_ > mostTiffEntries) {
            return false;
        }
        std::vector<std::byte> table(static_cast<std::size_t>(count) * entryBytes);
        if (!readAt(offset + countBytes, table.data(), table.size())) return false;
        for (std::size_t at = 0; at < table.size(); at += entryBytes) {
            if (!readEntry(&table[at], depth, directory)) return false;
        }
        if (next == nullptr) return true;
        std::array<std::byte, 8> link{};
        if (!readAt(offset + countBytes + table.size(), link.data(), linkBytes)) return false;
        *next = number(link.data(), linkBytes);
        return true;
    }

    bool readEntry(const std::byte* bytes, int depth, TiffDirectory& directory) {
        const std::size_t width = format_.big ? 8 : 4;
        TiffEntry entry;
        entry.tag = static_cast<std::uint16_t>(number(bytes, 2));
        entry.type = static_cast<std::uint16_t>(number(bytes + 2, 2));
        entry.count = number(bytes + 4, width);
        const std::byte* field = bytes + 4 + width;
        const std::uint64_t each = bytesOfTiffType(entry.type);
        if (each == 0) return true;  // an unknown type
        if (entry.count > fileSize_ / each) return false;
        const auto size = static_cast<std::size_t>(entry.count * each);
        if (size <= format_.inlineBytes()) {
            entry.value.assign(field, field + size);
        } else {
            entry.offset = number(field, format_.inlineBytes());
            if (entry.offset > fileSize_ || size > fileSize_ - entry.offset) return false;
            constexpr std::size_t shortValue = 8;
            if (size <= shortValue || pointsToDirectories(entry.tag)) {
                entry.value.resize(size);
                if (!readAt(entry.offset, entry.value.data(), size)) return false;
            }
        }
        if (pointsToDirectories(entry.tag) && !readChildren(entry, depth)) return false;
        directory.set(std::move(entry));
        return true;
    }

    bool readChildren(TiffEntry& entry, int depth) {
        const auto width = static_cast<std::size_t>(bytesOfTiffType(entry.type));
        if (width < 4) return false;
        for (std::size_t at = 0; at < entry.value.size(); at += width) {
            TiffDirectory child;
            if (!readDirectory(number(&entry.value[at], width), depth + 1, child, nullptr)) {
                return false;
            }
            entry.children.push_back(std::move(child));
        }
        entry.value.clear();
        return true;
    }

    const ReadBytes& read_;
    std::uint64_t fileSize_;
    TiffFormat format_;
    std::set<std::uint64_t> visited_;
    std::uint64_t entriesRead_ = 0;
};

}  // namespace

std::optional<TiffStructure> readTiffStructure(const ReadBytes& read, std::uint64_t fileSize) {
    return DirectoryWalk(read, fileSize).structure();
}

std::optional<TiffStructure> readTiffStructure(std::span<const std::byte> file) {
    return readTiffStructure(readBytesOf(file), file.size());
}

bool pixelsLieWithin(const TiffStructure& structure, std::uint64_t fileSize,
                     const ReadBytes& read) {
    const auto numbersOf = [&](const TiffEntry* entry) {
        return entry == nullptr ? std::vector<std::uint64_t>()
                                : numbersIn(*entry, structure.format, read);
    };
    constexpr std::array<std::array<std::uint16_t, 2>, 2> stripsAndTiles = {
        {{0x0111, 0x0117}, {0x0144, 0x0145}}};
    for (const TiffDirectory& page : structure.pages) {
        for (const auto& [offsetTag, lengthTag] : stripsAndTiles) {
            const auto offsets = numbersOf(page.find(offsetTag));
            const auto lengths = numbersOf(page.find(lengthTag));
            if (offsets.size() != lengths.size()) return false;
            for (std::size_t i = 0; i < offsets.size(); ++i) {
                if (offsets[i] > fileSize || lengths[i] > fileSize - offsets[i]) return false;
            }
        }
    }
    return true;
}

}  // namespace lumaweave
