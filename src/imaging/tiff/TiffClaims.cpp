// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <array>
#include <limits>
#include <set>
#include <vector>

#include "imaging/tiff/TiffDirectory.h"
#include "imaging/tiff/TiffValues.h"
#include "platform/ByteOrder.h"

namespace lumaweave {

namespace {

// Walks all directories that it can reach, and believes no number in them.
class ClaimCounter {
  public:
    ClaimCounter(const ReadBytes& read, std::uint64_t fileSize)
        : read_(read), fileSize_(fileSize) {}

    std::uint64_t count() {
        std::array<std::byte, 8> header{};
        if (!readAt(0, header.data(), header.size()) || header[0] != header[1]) return 0;
        const bool isBig = header[0] == std::byte{'M'};
        if (!isBig && header[0] != std::byte{'I'}) return 0;
        order_ = isBig ? std::endian::big : std::endian::little;
        waiting_.push_back(number(&header[4], 4));
        while (!waiting_.empty() && entries_ < mostTiffEntries) {
            const std::uint64_t offset = waiting_.back();
            waiting_.pop_back();
            if (offset != 0 && visited_.insert(offset).second) visit(offset);
        }
        return entries_ < mostTiffEntries ? claimed_ : std::numeric_limits<std::uint64_t>::max();
    }

  private:
    bool readAt(std::uint64_t offset, void* to, std::size_t byteCount) const {
        return offset <= fileSize_ && byteCount <= fileSize_ - offset &&
               read_(offset, to, byteCount);
    }

    [[nodiscard]] std::uint64_t number(const std::byte* bytes, std::size_t width) const {
        return readNumber(bytes, width, order_);
    }

    void visit(std::uint64_t offset) {
        std::array<std::byte, 12> bytes{};
        if (!readAt(offset, bytes.data(), 2)) return;
        const std::uint64_t count = number(bytes.data(), 2);
        offset += 2;
        for (std::uint64_t i = 0; i < count; ++i, offset += bytes.size()) {
            if (!readAt(offset, bytes.data(), bytes.size())) return;
            ++entries_;
            take(bytes);
        }
        if (readAt(offset, bytes.data(), 4)) waiting_.push_back(number(bytes.data(), 4));
    }

    void take(const std::array<std::byte, 12>& entry) {
        const auto tag = static_cast<std::uint16_t>(number(entry.data(), 2));
        const auto type = static_cast<std::uint16_t>(number(&entry[2], 2));
        const std::uint64_t count = number(&entry[4], 4);
        const std::uint64_t value = number(&entry[8], 4);
        claimed_ += std::min(count * std::max<std::uint64_t>(bytesOfTiffType(type), 1), fileSize_);
        if (!pointsToDirectories(tag)) return;
        if (count <= 1) {
            waiting_.push_back(value);
            return;
        }
        std::array<std::byte, 4> pointer{};
        for (std::uint64_t i = 0; i < count && waiting_.size() < mostTiffPages; ++i) {
            if (!readAt(value + 4 * i, pointer.data(), pointer.size())) return;
            waiting_.push_back(number(pointer.data(), 4));
        }
    }

    const ReadBytes& read_;
    std::uint64_t fileSize_;
    std::endian order_ = std::endian::little;
    std::vector<std::uint64_t> waiting_;
    std::set<std::uint64_t> visited_;
    std::uint64_t entries_ = 0;
    std::uint64_t claimed_ = 0;
};

}  // namespace

std::uint64_t claimedValueBytes(const ReadBytes& read, std::uint64_t fileSize) {
    return ClaimCounter(read, fileSize).count();
}

}  // namespace lumaweave
