// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <limits>
#include <utility>

#include "imaging/tiff/TiffDirectory.h"
#include "imaging/tiff/TiffValues.h"
#include "platform/ByteOrder.h"

namespace lumaweave {

namespace {

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
            std::max<std::size_t>(static_cast<std::size_t>(bytesOfTiffType(entry.type)), 4);
        std::vector<std::byte> moved;
        moved.reserve(numbers.size() * width);
        for (const std::uint64_t number : numbers) {
            if (width == 4 && number + by_ > std::numeric_limits<std::uint32_t>::max())
                return false;
            appendNumber(moved, number + by_, width, format_.order());
        }
        if (entry.type == tiff_types::shortNumber) entry.type = tiff_types::longNumber;
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
        using namespace tiff_types;
        const bool asDirectory = entry.type == directory || entry.type == directory8;
        if (format_.big) return asDirectory ? directory8 : long8;
        return asDirectory ? directory : longNumber;
    }

    void align() { bytes_.resize((bytes_.size() + 7) / 8 * 8); }

    void appendTo(std::vector<std::byte>& to, std::uint64_t number, std::size_t width) const {
        appendNumber(to, number, width, format_.order());
    }

    TiffFormat format_;
    std::uint64_t position_;
    std::vector<std::byte> bytes_;
};

std::vector<std::byte> headerFor(TiffFormat format, std::uint64_t firstPage) {
    const auto letter = static_cast<std::byte>(format.bigEndian ? 'M' : 'I');
    std::vector<std::byte> header = {letter, letter};
    appendNumber(header, format.big ? 43 : 42, 2, format.order());
    if (format.big) {
        appendNumber(header, 8, 2, format.order());
        appendNumber(header, 0, 2, format.order());
    }
    appendNumber(header, firstPage, format.inlineBytes(), format.order());
    return header;
}

}  // namespace

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

}  // namespace lumaweave
