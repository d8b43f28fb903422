// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "Targets.h"
#include "imaging/formats/HeldPixels.h"
#include "imaging/metadata/MetadataBlocks.h"
#include "imaging/tiff/TiffDirectory.h"

namespace lumaweave::fuzz {

namespace {

void walkTiff(Bytes file, const ReadBytes& read) {
    auto structure = readTiffStructure(file);
    if (!structure) return;
    const bool whole = pixelsLieWithin(*structure, file.size(), read);
    constexpr std::uint64_t shift = 4096;
    if (!moveTiffStructure(*structure, shift, read) || !whole) return;
    const std::uint64_t position = (shift + file.size() + 7) / 8 * 8;
    const auto tail = layOutTiff(*structure, position);
    if (!tail) return;
    // The copy as the metadata's writer makes it is a TIFF of as many pages.
    std::vector<std::byte> copy(position);
    std::memcpy(copy.data() + shift, file.data(), file.size());
    std::memcpy(copy.data(), tail->header.data(), tail->header.size());
    copy.insert(copy.end(), tail->bytes.begin(), tail->bytes.end());
    const auto again = readTiffStructure(copy);
    if (!again || again->pages.size() != structure->pages.size()) std::abort();
}

}  // namespace

void walkStructures(Bytes file) {
    const ReadBytes read = [file](std::uint64_t offset, void* to, std::size_t count) {
        if (offset > file.size() || count > file.size() - offset) return false;
        if (count > 0) std::memcpy(to, file.data() + offset, count);
        return true;
    };
    static_cast<void>(claimedValueBytes(read, file.size()));
    static_cast<void>(pixelBytesHeldAtOnce(read, file.size()));
    walkTiff(file, read);
    const std::string_view text(reinterpret_cast<const char*>(file.data()), file.size());
    const auto blocks = unpackMetadata(text);
    if (blocks && unpackMetadata(packMetadata(*blocks))->description != blocks->description) {
        std::abort();
    }
}

}  // namespace lumaweave::fuzz
