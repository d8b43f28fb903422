// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/metadata/CarriedRecords.h"

#include <algorithm>
#include <exiv2/exiv2.hpp>
#include <string_view>
#include <vector>

#include "imaging/metadata/ExivLibrary.h"
#include "imaging/metadata/RecordKinds.h"
#include "platform/Log.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

// EXIF, IPTC and XMP are carried up to so many bytes each: broken files claim far more, cameras and
// editors write a few hundred kilobytes.
constexpr std::size_t largestRecord = std::size_t{16} << 20;

// Builds the list anew: taking one record out of the library's lists moves all behind it.
template <typename Data, typename Predicate>
void removeWhere(Data& data, Predicate&& predicate) {
    Data kept;
    for (const auto& datum : data) {
        if (!predicate(datum)) kept.add(datum);
    }
    data = std::move(kept);
}

template <typename Data>
std::size_t bytesOf(const Data& data) {
    std::size_t bytes = 0;
    for (const auto& datum : data)
        bytes += static_cast<std::size_t>(std::max(datum.size(), 0L));
    return bytes;
}

// A note of a make that the library does not know came as bytes. Only its maker knows what lies in
// it at which offset, and from where that counts: another place would damage it, unless it counts
// from its own start.
bool isLostWhenMoved(const Exiv2::ExifData& exif) {
    const auto note = exif.findKey(Exiv2::ExifKey("Exif.Photo.MakerNote"));
    if (note == exif.end()) return false;
    const bool understood = std::any_of(exif.begin(), exif.end(), [](const auto& datum) {
        return isMakerNote(datum) && datum.groupName() != "MakerNote" &&
               datum.groupName() != "Photo";
    });
    if (understood) return false;
    constexpr std::string_view countsFromItself = "Apple iOS";
    std::vector<Exiv2::byte> bytes(static_cast<std::size_t>(std::max(note->size(), 0L)));
    if (!bytes.empty()) note->copy(bytes.data(), Exiv2::littleEndian);
    return bytes.size() < countsFromItself.size() ||
           !std::equal(countsFromItself.begin(), countsFromItself.end(), bytes.begin());
}

bool isTurned(const ExivRecords& records) {
    const auto exif = records.exif.findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
    if (exif != records.exif.end() && exif->count() > 0 && exif->toLong() > 1) return true;
    const auto xmp = records.xmp.findKey(Exiv2::XmpKey("Xmp.tiff.Orientation"));
    return xmp != records.xmp.end() && xmp->count() > 0 && xmp->toLong() > 1;
}

// A file whose records are larger than that, all together, is no honest one.
template <typename Data>
void removeIfTooLarge(Data& data) {
    constexpr long mostRecords = 100'000;
    if (data.count() > mostRecords || bytesOf(data) > largestRecord) data.clear();
}

void keepWhatCanBeCarried(ExivRecords& records) {
    if (isTurned(records)) {
        const auto isPlace = [](const auto& datum) { return isPlaceInPicture(datum); };
        removeWhere(records.exif, isPlace);
        removeWhere(records.xmp, isPlace);
    }
    const auto isOfSource = [](const auto& datum) { return belongsToSource(datum); };
    removeWhere(records.exif, isOfSource);
    removeWhere(records.iptc, isOfSource);
    removeWhere(records.xmp, isOfSource);
    if (isLostWhenMoved(records.exif)) {
        logLine("The maker note is of an unknown kind and is left out");
        removeWhere(records.exif, isMakerNote);
    }
    if (bytesOf(records.exif) > largestRecord) removeWhere(records.exif, isMakerNote);
    removeIfTooLarge(records.exif);
    removeIfTooLarge(records.iptc);
    removeIfTooLarge(records.xmp);
}

std::string shortened(const Exiv2::Metadatum& datum) {
    constexpr long longest = 80;
    constexpr long longestToConvert = 4096;
    if (datum.size() > longestToConvert) return "(" + std::to_string(datum.size()) + " bytes)";
    std::string text = datum.toString();
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < ' ') c = ' ';
    }
    if (text.size() <= longest) return text;
    std::size_t end = longest;
    const auto isInsideCharacter = [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
    };
    while (end > 0 && isInsideCharacter(text[end]))
        --end;
    return text.substr(0, end) + "...";
}

template <typename Data>
void describe(const Data& data, std::string& text) {
    constexpr std::size_t longest = std::size_t{64} << 10;
    for (const auto& datum : data) {
        if (text.size() > longest) return;
        text += " " + datum.key() + " = " + shortened(datum) + ";";
    }
}

// The library lays out the values of a directory by rising tags, so that one of this lowest tag
// holds the place of what stands before the others.
Exiv2::ExifData withSpaceInFront(const Exiv2::ExifData& exif, std::size_t byteCount) {
    constexpr std::size_t directoryTable = 16;
    if (byteCount <= directoryTable) return exif;
    Exiv2::ExifData spaced = exif;
    const std::vector<Exiv2::byte> space(byteCount);
    Exiv2::DataValue value(space.data(), static_cast<long>(space.size()));
    spaced.add(Exiv2::ExifKey("Exif.Image.0x0001"), &value);
    return spaced;
}

std::vector<std::byte> encode(const ExivRecords& records, bool bigEndian, std::size_t firstByte) {
    Exiv2::MemIo io;
    const Exiv2::ByteOrder order = bigEndian ? Exiv2::bigEndian : Exiv2::littleEndian;
    Exiv2::TiffParser::encode(io, nullptr, 0, order, withSpaceInFront(records.exif, firstByte),
                              records.iptc, records.xmp);
    std::vector<std::byte> bytes(io.size());
    io.seek(0, Exiv2::BasicIo::beg);
    const long got =
        io.read(reinterpret_cast<Exiv2::byte*>(bytes.data()), static_cast<long>(bytes.size()));
    return got == static_cast<long>(bytes.size()) ? bytes : std::vector<std::byte>();
}

}  // namespace

std::string descriptionOf(const ExivRecords& records) {
    std::string text = "{";
    try {
        describe(records.exif, text);
        describe(records.iptc, text);
        describe(records.xmp, text);
    } catch (const std::exception& error) {
        text += std::string(" ") + error.what();
    }
    return text + " }";
}

std::vector<std::byte> asTiff(const ExivRecords& records, bool bigEndian, std::size_t firstByte) {
    startExiv();
    try {
        return encode(records, bigEndian, firstByte);
    } catch (const std::exception& error) {
        logLine(std::string("The maker note is left out: ") + error.what());
    }
    try {
        ExivRecords withoutMakerNote = records;
        removeWhere(withoutMakerNote.exif, isMakerNote);
        return encode(withoutMakerNote, bigEndian, firstByte);
    } catch (const std::exception& error) {
        logLine(std::string("The metadata cannot be written: ") + error.what());
        return {};
    }
}

std::optional<ExivRecords> readCarriedRecords(const fs::path& path) {
    auto read = readExivRecords(path);
    if (!read) return std::nullopt;
    try {
        keepWhatCanBeCarried(*read);
    } catch (const std::exception& error) {
        logLine(path.native() + ": " + error.what());
        return std::nullopt;
    }
    return read;
}

bool saysNothing(const ExivRecords& records) {
    const auto says = [](const auto& datum) { return !isBookkeeping(datum); };
    return std::none_of(records.exif.begin(), records.exif.end(), says) &&
           std::none_of(records.iptc.begin(), records.iptc.end(), says) &&
           std::none_of(records.xmp.begin(), records.xmp.end(), says);
}

}  // namespace lumaweave
