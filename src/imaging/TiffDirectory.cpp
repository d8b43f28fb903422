#include "imaging/TiffDirectory.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <set>
#include <utility>

namespace lumaweave {

namespace {

constexpr std::size_t mostPages = 4096;
constexpr int deepestDirectory = 4;
// Of all directories together.
constexpr std::uint64_t mostEntries = 1'000'000;

// Of each type of value; 0 for what this reader does not know.
constexpr std::array<std::uint8_t, 19> bytesOfType = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4,
                                                      8, 4, 8, 4, 0, 0, 8, 8, 8};
constexpr std::uint16_t typeShort = 3;
constexpr std::uint16_t typeLong = 4;
constexpr std::uint16_t typeIfd = 13;
constexpr std::uint16_t typeLong8 = 16;
constexpr std::uint16_t typeIfd8 = 18;

std::uint64_t bytesOf(std::uint16_t type) {
    return type < bytesOfType.size() ? bytesOfType[type] : 0;
}

// Sub-images, EXIF, GPS, interoperability.
bool pointsToDirectories(std::uint16_t tag) {
    return tag == 0x014A || tag == 0x8769 || tag == 0x8825 || tag == 0xA005;
}

// Strips, tiles, free space and the tables of the old way to store JPEG.
bool holdsOffsets(std::uint16_t tag) {
    return tag == 0x0111 || tag == 0x0144 || tag == 0x0120 || tag == 0x0201 ||
           (tag >= 0x0207 && tag <= 0x0209);
}

std::uint64_t numberFrom(const std::byte* bytes, std::size_t width, bool bigEndian) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < width; ++i) {
        const std::size_t at = bigEndian ? i : width - 1 - i;
        number = number << 8 | std::to_integer<std::uint64_t>(bytes[at]);
    }
    return number;
}

void putNumber(std::byte* to, std::uint64_t number, std::size_t width, bool bigEndian) {
    for (std::size_t i = 0; i < width; ++i) {
        to[bigEndian ? width - 1 - i : i] = static_cast<std::byte>(number >> (8 * i) & 0xFF);
    }
}

void appendNumber(std::vector<std::byte>& to, std::uint64_t number, std::size_t width,
                  bool bigEndian) {
    to.resize(to.size() + width);
    putNumber(to.data() + to.size() - width, number, width, bigEndian);
}

// The numbers of an entry; none when they cannot be read.
std::vector<std::uint64_t> numbersIn(const TiffEntry& entry, TiffFormat format,
                                     const ReadBytes& read) {
    const auto width = static_cast<std::size_t>(bytesOf(entry.type));
    std::vector<std::byte> bytes = entry.value;
    if (bytes.empty()) {
        bytes.resize(static_cast<std::size_t>(entry.count) * width);
        if (!read(entry.offset, bytes.data(), bytes.size())) return {};
    }
    std::vector<std::uint64_t> numbers;
    numbers.reserve(static_cast<std::size_t>(entry.count));
    for (std::size_t at = 0; at < bytes.size(); at += width)
        numbers.push_back(numberFrom(&bytes[at], width, format.bigEndian));
    return numbers;
}

class Reader {
  public:
    Reader(const ReadBytes& read, std::uint64_t fileSize) : read_(read), fileSize_(fileSize) {}

    std::optional<TiffStructure> structure() {
        TiffStructure result;
        std::uint64_t next = 0;
        if (!readHeader(result.format, next)) return std::nullopt;
        format_ = result.format;
        while (next != 0) {
            TiffDirectory page;
            if (result.pages.size() == mostPages || !readDirectory(next, 0, page, &next)) {
                return std::nullopt;
            }
            result.pages.push_back(std::move(page));
        }
        if (result.pages.empty()) return std::nullopt;
        return result;
    }

  private:
    bool readHeader(TiffFormat& format, std::uint64_t& first) {
        std::array<std::byte, 16> header{};
        if (!readAt(0, header.data(), 8)) return false;
        const bool little = header[0] == std::byte{'I'} && header[1] == std::byte{'I'};
        format.bigEndian = header[0] == std::byte{'M'} && header[1] == std::byte{'M'};
        if (!little && !format.bigEndian) return false;
        const std::uint64_t version = numberFrom(&header[2], 2, format.bigEndian);
        format.big = version == 43;
        if (version != 42 && !format.big) return false;
        if (!format.big) {
            first = numberFrom(&header[4], 4, format.bigEndian);
            return true;
        }
        first = 0;
        if (!readAt(8, &header[8], 8) || numberFrom(&header[4], 2, format.bigEndian) != 8) {
            return false;
        }
        first = numberFrom(&header[8], 8, format.bigEndian);
        return true;
    }

    bool readAt(std::uint64_t offset, void* to, std::size_t byteCount) const {
        return offset <= fileSize_ && byteCount <= fileSize_ - offset &&
               read_(offset, to, byteCount);
    }

    std::uint64_t number(const std::byte* bytes, std::size_t width) const {
        return numberFrom(bytes, width, format_.bigEndian);
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
        if (count > std::numeric_limits<std::uint16_t>::max() || entriesRead_ > mostEntries) {
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
        const std::uint64_t each = bytesOf(entry.type);
        if (each == 0) return true;  // a reader is to skip types that it does not know
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
        const auto width = static_cast<std::size_t>(bytesOf(entry.type));
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

// Walks whatever directories can be reached, and believes no number in them.
class ClaimCounter {
  public:
    ClaimCounter(const ReadBytes& read, std::uint64_t fileSize)
        : read_(read), fileSize_(fileSize) {}

    std::uint64_t count() {
        std::array<std::byte, 8> header{};
        if (!readAt(0, header.data(), header.size()) || header[0] != header[1]) return 0;
        bigEndian_ = header[0] == std::byte{'M'};
        if (!bigEndian_ && header[0] != std::byte{'I'}) return 0;
        waiting_.push_back(numberFrom(&header[4], 4, bigEndian_));
        while (!waiting_.empty() && entries_ < mostEntries) {
            const std::uint64_t offset = waiting_.back();
            waiting_.pop_back();
            if (offset != 0 && visited_.insert(offset).second) visit(offset);
        }
        return entries_ < mostEntries ? claimed_ : std::numeric_limits<std::uint64_t>::max();
    }

  private:
    bool readAt(std::uint64_t offset, void* to, std::size_t byteCount) const {
        return offset <= fileSize_ && byteCount <= fileSize_ - offset &&
               read_(offset, to, byteCount);
    }

    void visit(std::uint64_t offset) {
        std::array<std::byte, 12> bytes{};
        if (!readAt(offset, bytes.data(), 2)) return;
        const std::uint64_t count = numberFrom(bytes.data(), 2, bigEndian_);
        offset += 2;
        for (std::uint64_t i = 0; i < count; ++i, offset += bytes.size()) {
            if (!readAt(offset, bytes.data(), bytes.size())) return;
            ++entries_;
            take(bytes);
        }
        if (readAt(offset, bytes.data(), 4))
            waiting_.push_back(numberFrom(bytes.data(), 4, bigEndian_));
    }

    void take(const std::array<std::byte, 12>& entry) {
        const auto tag = static_cast<std::uint16_t>(numberFrom(entry.data(), 2, bigEndian_));
        const auto type = static_cast<std::uint16_t>(numberFrom(&entry[2], 2, bigEndian_));
        const std::uint64_t count = numberFrom(&entry[4], 4, bigEndian_);
        const std::uint64_t value = numberFrom(&entry[8], 4, bigEndian_);
        claimed_ += std::min(count * std::max<std::uint64_t>(bytesOf(type), 1), fileSize_);
        if (!pointsToDirectories(tag)) return;
        if (count <= 1) {
            waiting_.push_back(value);
            return;
        }
        std::array<std::byte, 4> pointer{};
        for (std::uint64_t i = 0; i < count && waiting_.size() < mostPages; ++i) {
            if (!readAt(value + 4 * i, pointer.data(), pointer.size())) return;
            waiting_.push_back(numberFrom(pointer.data(), 4, bigEndian_));
        }
    }

    const ReadBytes& read_;
    std::uint64_t fileSize_;
    bool bigEndian_ = false;
    std::vector<std::uint64_t> waiting_;
    std::set<std::uint64_t> visited_;
    std::uint64_t entries_ = 0;
    std::uint64_t claimed_ = 0;
};

class Mover {
  public:
    Mover(TiffFormat format, std::uint64_t by, const ReadBytes& read)
        : format_(format), by_(by), read_(read) {}

    bool move(TiffDirectory& directory) {
        return std::all_of(directory.entries.begin(), directory.entries.end(),
                           [this](TiffEntry& entry) { return move(entry); });
    }

  private:
    bool move(TiffEntry& entry) {
        if (holdsOffsets(entry.tag)) return moveValue(entry);
        if (entry.value.empty() && entry.children.empty()) entry.offset += by_;
        return std::all_of(entry.children.begin(), entry.children.end(),
                           [this](TiffDirectory& child) { return move(child); });
    }

    bool moveValue(TiffEntry& entry) {
        const std::vector<std::uint64_t> numbers = numbersIn(entry, format_, read_);
        if (numbers.size() != entry.count) return false;
        // Strips near the start of a small file may have 16-bit offsets, which could not grow.
        const std::size_t width =
            std::max<std::size_t>(static_cast<std::size_t>(bytesOf(entry.type)), 4);
        std::vector<std::byte> moved;
        moved.reserve(numbers.size() * width);
        for (const std::uint64_t number : numbers) {
            if (width == 4 && number + by_ > std::numeric_limits<std::uint32_t>::max())
                return false;
            appendNumber(moved, number + by_, width, format_.bigEndian);
        }
        if (entry.type == typeShort) entry.type = typeLong;
        entry.value = std::move(moved);
        return true;
    }

    TiffFormat format_;
    std::uint64_t by_;
    const ReadBytes& read_;
};

// Builds the tail from the last page to the first, so that each knows where the next one lies.
class Layout {
  public:
    Layout(TiffFormat format, std::uint64_t position) : format_(format), position_(position) {}

    // Gives the offset of the directory's table.
    std::uint64_t append(const TiffDirectory& directory, std::uint64_t next) {
        std::vector<std::byte> fields;
        for (const TiffEntry& entry : directory.entries)
            appendField(fields, entry);
        align();
        const std::uint64_t offset = end();
        appendTo(bytes_, directory.entries.size(), format_.big ? 8 : 2);
        for (std::size_t i = 0; i < directory.entries.size(); ++i) {
            const TiffEntry& entry = directory.entries[i];
            appendTo(bytes_, entry.tag, 2);
            appendTo(bytes_, entry.children.empty() ? entry.type : pointerType(entry), 2);
            appendTo(bytes_, entry.count, format_.inlineBytes());
            const auto field =
                fields.begin() + static_cast<std::ptrdiff_t>(i * format_.inlineBytes());
            bytes_.insert(bytes_.end(), field,
                          field + static_cast<std::ptrdiff_t>(format_.inlineBytes()));
        }
        appendTo(bytes_, next, format_.inlineBytes());
        return offset;
    }

    [[nodiscard]] std::uint64_t end() const { return position_ + bytes_.size(); }
    [[nodiscard]] std::vector<std::byte> take() { return std::move(bytes_); }

  private:
    // What stands in the entry's last field: the value itself, or where it lies.
    void appendField(std::vector<std::byte>& fields, const TiffEntry& entry) {
        std::vector<std::byte> value = entry.value;
        for (const TiffDirectory& child : entry.children)
            appendTo(value, append(child, 0), format_.inlineBytes());
        if (value.empty()) {
            appendTo(fields, entry.offset, format_.inlineBytes());
        } else if (value.size() <= format_.inlineBytes()) {
            value.resize(format_.inlineBytes());
            fields.insert(fields.end(), value.begin(), value.end());
        } else {
            align();
            appendTo(fields, end(), format_.inlineBytes());
            bytes_.insert(bytes_.end(), value.begin(), value.end());
        }
    }

    [[nodiscard]] std::uint16_t pointerType(const TiffEntry& entry) const {
        const bool asIfd = entry.type == typeIfd || entry.type == typeIfd8;
        if (format_.big) return asIfd ? typeIfd8 : typeLong8;
        return asIfd ? typeIfd : typeLong;
    }

    void align() { bytes_.resize((bytes_.size() + 7) / 8 * 8); }

    void appendTo(std::vector<std::byte>& to, std::uint64_t number, std::size_t width) const {
        appendNumber(to, number, width, format_.bigEndian);
    }

    TiffFormat format_;
    std::uint64_t position_;
    std::vector<std::byte> bytes_;
};

std::vector<std::byte> headerFor(TiffFormat format, std::uint64_t firstPage) {
    const auto letter = static_cast<std::byte>(format.bigEndian ? 'M' : 'I');
    std::vector<std::byte> header = {letter, letter};
    appendNumber(header, format.big ? 43 : 42, 2, format.bigEndian);
    if (format.big) {
        appendNumber(header, 8, 2, format.bigEndian);
        appendNumber(header, 0, 2, format.bigEndian);
    }
    appendNumber(header, firstPage, format.inlineBytes(), format.bigEndian);
    return header;
}

}  // namespace

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

std::optional<TiffStructure> readTiffStructure(const ReadBytes& read, std::uint64_t fileSize) {
    return Reader(read, fileSize).structure();
}

std::uint64_t claimedValueBytes(const ReadBytes& read, std::uint64_t fileSize) {
    return ClaimCounter(read, fileSize).count();
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

std::optional<TiffStructure> readTiffStructure(std::span<const std::byte> file) {
    const ReadBytes read = [file](std::uint64_t offset, void* to, std::size_t byteCount) {
        if (byteCount > 0) std::memcpy(to, file.data() + offset, byteCount);
        return true;  // the reader stays within the size that it is given
    };
    return readTiffStructure(read, file.size());
}

bool moveTiffStructure(TiffStructure& structure, std::uint64_t by, const ReadBytes& readUnmoved) {
    Mover mover(structure.format, by, readUnmoved);
    return std::all_of(structure.pages.begin(), structure.pages.end(),
                       [&mover](TiffDirectory& page) { return mover.move(page); });
}

std::optional<TiffTail> layOutTiff(const TiffStructure& structure, std::uint64_t position) {
    Layout layout(structure.format, position);
    std::uint64_t next = 0;
    for (auto page = structure.pages.rbegin(); page != structure.pages.rend(); ++page)
        next = layout.append(*page, next);
    if (!structure.format.big && layout.end() > std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    return TiffTail{layout.take(), headerFor(structure.format, next)};
}

TiffEntry shortEntry(std::uint16_t tag, std::uint16_t number, TiffFormat format) {
    TiffEntry entry;
    entry.tag = tag;
    entry.type = typeShort;
    entry.count = 1;
    appendNumber(entry.value, number, sizeof number, format.bigEndian);
    return entry;
}

}  // namespace lumaweave
