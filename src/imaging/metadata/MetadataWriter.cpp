// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/metadata/MetadataWriter.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "imaging/metadata/Metadata.h"
#include "imaging/tiff/TiffDirectory.h"
#include "platform/AtomicFile.h"
#include "platform/Log.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

constexpr std::uint16_t spaceTag = 0x0001;  // Metadata's own, in front of its values
constexpr std::uint16_t orientationTag = 0x0112;
constexpr std::uint16_t exifTag = 0x8769;
constexpr std::uint16_t colourProfileTag = 0x8773;
constexpr std::uint16_t colourSpaceTag = 0xA001;
constexpr std::uint16_t interoperabilityTag = 0xA005;
constexpr std::uint16_t gammaTag = 0xA500;

// The copy begins with the metadata's values, once for each page, and above all with the maker
// notes, whose inner offsets count from the start of the file. The source's bytes follow behind
// them unchanged, from a whole block on, so that file systems that can share blocks copy none. The
// directories that join the two come at the end.
constexpr std::uint64_t blockBytes = 4096;
// Pages get values of their own (some readers complain about shared ones) up to this size; the
// rest of a book of many pages shares the last one's.
constexpr std::size_t largestMetadata = std::size_t{4} << 20;

std::uint64_t roundedUp(std::uint64_t number, std::uint64_t step) {
    return (number + step - 1) / step * step;
}

// A page with a profile of its own does not say beside it what the source's pixels had.
void removeColourSpace(TiffEntry& exif) {
    for (TiffDirectory& directory : exif.children) {
        directory.remove(colourSpaceTag);
        directory.remove(gammaTag);
        directory.remove(interoperabilityTag);
    }
}

void addEntries(TiffDirectory& page, const TiffDirectory& metadata, TiffFormat format) {
    for (TiffEntry entry : metadata.entries) {
        if (entry.tag == exifTag && page.find(colourProfileTag) != nullptr) {
            removeColourSpace(entry);
            // A directory without entries is none.
            if (entry.children.front().entries.empty()) continue;
        }
        page.set(std::move(entry));
    }
    page.set(shortEntry(orientationTag, 1, format));
}

// The start of the new file, which holds the metadata's values, and for each page the entries that
// point into it.
struct MetadataPart {
    std::vector<std::byte> bytes;
    std::vector<TiffDirectory> pages;
};

// None when the metadata cannot be put into a TIFF.
std::optional<MetadataPart> makeMetadataPart(const Metadata& metadata, TiffFormat format,
                                             std::size_t pageCount) {
    MetadataPart part;
    for (std::size_t page = 0; page < pageCount; ++page) {
        const std::size_t start = part.bytes.size();
        if (start > largestMetadata) {
            part.pages.push_back(part.pages.back());
            continue;
        }
        const std::vector<std::byte> tiff = metadata.asTiff(format.bigEndian, start);
        auto structure = readTiffStructure(tiff);
        if (!structure || tiff.size() < start) return std::nullopt;
        structure->pages.front().remove(spaceTag);
        part.pages.push_back(std::move(structure->pages.front()));
        part.bytes.insert(part.bytes.end(), tiff.begin() + static_cast<std::ptrdiff_t>(start),
                          tiff.end());
    }
    return part;
}

Failure failed(const fs::path& path, const std::string& reason) {
    logLine("Cannot write metadata into " + path.native() + ": " + reason);
    return {reason};
}

// errno says why it was not written.
Outcome outcomeOf(bool written, const fs::path& destination) {
    if (written) return {};
    return failed(destination, std::strerror(errno));
}

Outcome plainCopy(const FileDescriptor& from, const fs::path& destination) {
    AtomicFile file(destination);
    return outcomeOf(file.isOpen() && file.file().copyFrom(from, from.size(), 0) && file.commit(),
                     destination);
}

Outcome write(const FileDescriptor& from, const fs::path& destination, const MetadataPart& metadata,
              std::uint64_t shift, const TiffTail& tail, std::uint64_t tailPosition) {
    AtomicFile file(destination);
    const FileDescriptor& to = file.file();
    return outcomeOf(file.isOpen() && to.writeAt(0, metadata.bytes.data(), metadata.bytes.size()) &&
                         to.writeAt(0, tail.header.data(), tail.header.size()) &&
                         to.copyFrom(from, from.size(), shift) &&
                         to.writeAt(tailPosition, tail.bytes.data(), tail.bytes.size()) &&
                         file.commit(),
                     destination);
}

Outcome rewrite(const FileDescriptor& from, const fs::path& source, const fs::path& destination,
                const Metadata& metadata) {
    const ReadBytes read = readBytesOf(from);
    auto structure = readTiffStructure(read, from.size());
    // Strips behind the end would take in what is added there.
    if (!structure || !pixelsLieWithin(*structure, from.size(), read)) {
        return failed(source, "it is not a whole TIFF file");
    }
    const TiffFormat format = structure->format;
    const auto part = makeMetadataPart(metadata, format, structure->pages.size());
    if (!part) return failed(source, "the metadata does not fit into a TIFF file");
    const std::uint64_t shift = roundedUp(part->bytes.size(), blockBytes);
    if (!moveTiffStructure(*structure, shift, read)) return failed(source, "it is too large");
    for (std::size_t page = 0; page < structure->pages.size(); ++page)
        addEntries(structure->pages[page], part->pages[page], format);
    const std::uint64_t tailPosition = roundedUp(shift + from.size(), 8);
    const auto tail = layOutTiff(*structure, tailPosition);
    if (!tail) return failed(source, "it is too large");
    return write(from, destination, *part, shift, *tail, tailPosition);
}

}  // namespace

Outcome copyTiffWithMetadata(const fs::path& source, const fs::path& destination,
                             const Metadata* metadata) {
    const FileDescriptor from = FileDescriptor::ofRegularFile(source);
    if (!from.isOpen()) return failed(source, "it is not there");
    try {
        return metadata == nullptr ? plainCopy(from, destination)
                                   : rewrite(from, source, destination, *metadata);
    } catch (const std::exception& error) {  // memory, above all
        return failed(source, error.what());
    }
}

}  // namespace lumaweave
