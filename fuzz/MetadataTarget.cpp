// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "ScratchFolder.h"
#include "Targets.h"
#include "imaging/metadata/CarriedRecords.h"
#include "imaging/metadata/Metadata.h"
#include "imaging/metadata/MetadataWriter.h"
#include "imaging/metadata/RecordedFocalLength.h"
#include "imaging/tiff/TiffDirectory.h"

namespace lumaweave::fuzz {

namespace fs = std::filesystem;

namespace {

// One page of 2 x 1 grey pixels, as small as a TIFF can be.
constexpr unsigned char smallTiff[] = {
    'I', 'I', 42, 0, 10, 0, 0, 0, 0x12, 0x34,        // the pixels
    8,   0,                                          // entries
    0,   1,   3,  0, 1,  0, 0, 0, 2,    0,    0, 0,  // width
    1,   1,   3,  0, 1,  0, 0, 0, 1,    0,    0, 0,  // height
    2,   1,   3,  0, 1,  0, 0, 0, 8,    0,    0, 0,  // bits
    3,   1,   3,  0, 1,  0, 0, 0, 1,    0,    0, 0,  // no compression
    6,   1,   3,  0, 1,  0, 0, 0, 1,    0,    0, 0,  // black is zero
    17,  1,   4,  0, 1,  0, 0, 0, 8,    0,    0, 0,  // strip
    22,  1,   3,  0, 1,  0, 0, 0, 1,    0,    0, 0,  // its rows
    23,  1,   4,  0, 1,  0, 0, 0, 2,    0,    0, 0,  // its bytes
    0,   0,   0,  0};

std::vector<std::byte> contentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const auto* bytes = reinterpret_cast<const std::byte*>(text.data());
    return {bytes, bytes + text.size()};
}

// The result is a whole TIFF with its pixels, or what it was before.
void requireWhole(const fs::path& path) {
    const std::vector<std::byte> bytes = contentOf(path);
    const auto structure = readTiffStructure(bytes);
    const ReadBytes read = [&bytes](std::uint64_t offset, void* to, std::size_t count) {
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), count,
                    static_cast<std::byte*>(to));
        return true;
    };
    if (!structure || structure->pages.size() != 1 ||
        !pixelsLieWithin(*structure, bytes.size(), read)) {
        std::abort();
    }
}

}  // namespace

void carryMetadata(Bytes file) {
    const fs::path path = writeScratch("photograph", file);
    static_cast<void>(recordedFocalLength(path));
    const auto records = readCarriedRecords(path);
    if (!records || saysNothing(*records)) return;
    const Metadata metadata(
        {descriptionOf(*records), asTiff(*records, false, 0), asTiff(*records, true, 0)});
    const fs::path result =
        writeScratch("result.tif", std::as_bytes(std::span<const unsigned char>(smallTiff)));
    static_cast<void>(copyTiffWithMetadata(result, result, &metadata));
    requireWhole(result);
    static_cast<void>(readCarriedRecords(result));
}

}  // namespace lumaweave::fuzz
