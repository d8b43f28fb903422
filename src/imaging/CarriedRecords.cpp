#include "imaging/CarriedRecords.h"

#include <algorithm>
#include <exiv2/exiv2.hpp>
#include <set>
#include <string_view>
#include <vector>

#include "imaging/ExivLibrary.h"
#include "platform/Log.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

// Of EXIF, IPTC and XMP no more bytes than this each are carried: broken files claim far more,
// cameras and editors write a few hundred kilobytes.
constexpr std::size_t largestRecord = std::size_t{16} << 20;

// Tags of the main directory that describe the file's own pixels, or point to parts of the file.
bool describesPixels(std::uint16_t tag) {
    static const std::set<std::uint16_t> tags = {
        0x010A, 0x0111, 0x0112, 0x0115, 0x0116, 0x0117, 0x0118, 0x0119, 0x011A, 0x011B,
        0x011C, 0x011D, 0x011E, 0x011F, 0x0120, 0x0121, 0x0122, 0x0123, 0x0124, 0x0125,
        0x0128, 0x0129, 0x012D, 0x013D, 0x013E, 0x013F, 0x0140, 0x0141, 0x0142, 0x0143,
        0x0144, 0x0145, 0x014A, 0x014C, 0x014D, 0x014E, 0x0150, 0x0151, 0x0152, 0x0153,
        0x0154, 0x0155, 0x0156, 0x0157, 0x0158, 0x0159, 0x015A, 0x015B, 0x0211, 0x0212,
        0x0213, 0x0214, 0x02BC, 0x828D, 0x828E, 0x80E3, 0x80E4, 0x80E5, 0x80E6, 0x8214,
        0x8215, 0x83BB, 0x8649, 0x8769, 0x8773, 0x87AC, 0x8825, 0x935C, 0xEA1C};
    // Not a photograph's: they would take the place of asTiff's own.
    if (tag <= 0x0001) return true;
    // Sub-file type to threshholding, and the old way to store JPEG.
    if (tag >= 0x00FE && tag <= 0x0109) return true;
    if (tag >= 0x0200 && tag <= 0x0209) return true;
    if (tag >= 0xBC01 && tag <= 0xBCC5) return true;  // another format's pixels
    // Development of raw pixels; names of the camera and its lens stand among it.
    constexpr std::uint16_t cameraModel = 0xC614;
    constexpr std::uint16_t localizedModel = 0xC615;
    constexpr std::uint16_t cameraSerialNumber = 0xC62F;
    constexpr std::uint16_t lensInfo = 0xC630;
    const bool aboutCamera =
        tag == cameraModel || tag == localizedModel || tag == cameraSerialNumber || tag == lensInfo;
    if (tag >= 0xC612 && tag <= 0xCFFF) return !aboutCamera;
    return tags.count(tag) != 0;
}

// The same for the directory of exposure data: JPEG's components, size in pixels, padding.
bool photoTagDescribesPixels(std::uint16_t tag) {
    return tag == 0x9101 || tag == 0x9102 || tag == 0xA002 || tag == 0xA003 || tag == 0xA005 ||
           tag == 0xEA1C || tag == 0xEA1D;
}

bool isSmallPicture(std::string_view tagName) {
    return tagName.find("Thumbnail") != std::string_view::npos ||
           tagName.find("Preview") != std::string_view::npos;
}

// Groups that belong to other pictures of the file.
bool isOfAnotherPicture(std::string_view group) {
    return group.starts_with("Thumbnail") || group.starts_with("SubImage") ||
           group.starts_with("SubThumb") || group.starts_with("Image2") ||
           group.starts_with("Image3") || group.starts_with("PanasonicRaw") ||
           group.find("Preview") != std::string_view::npos;
}

bool belongsToSource(const Exiv2::Exifdatum& datum) {
    const std::string group = datum.groupName();
    if (group == "Image") return describesPixels(datum.tag());
    if (group == "Photo") return photoTagDescribesPixels(datum.tag());
    if (group == "Iop") return datum.tag() >= 0x1000;  // the related picture's format and size
    if (group == "GPSInfo") return false;
    return isOfAnotherPicture(group) || isSmallPicture(datum.tagName());
}

bool belongsToSource(const Exiv2::Xmpdatum& datum) {
    static const std::set<std::string_view> tiff = {"ImageWidth",
                                                    "ImageLength",
                                                    "BitsPerSample",
                                                    "Compression",
                                                    "Orientation",
                                                    "SamplesPerPixel",
                                                    "YCbCrSubSampling",
                                                    "PlanarConfiguration",
                                                    "XResolution",
                                                    "YResolution",
                                                    "ResolutionUnit",
                                                    "YCbCrPositioning",
                                                    "WhitePoint",
                                                    "TransferFunction",
                                                    "YCbCrCoefficients",
                                                    "PrimaryChromaticities",
                                                    "NativeDigest",
                                                    "ReferenceBlackWhite",
                                                    "PhotometricInterpretation"};
    static const std::set<std::string_view> exif = {
        "PixelXDimension",         "PixelYDimension",        "ColorSpace",
        "ComponentsConfiguration", "CompressedBitsPerPixel", "NativeDigest"};
    const std::string group = datum.groupName();
    const std::string name = datum.tagName();
    if (group == "tiff") return tiff.count(name) != 0;
    if (group == "exif") return exif.count(name) != 0;
    if (group == "photoshop") return name == "ICCProfile" || name == "ColorMode";
    if (group == "dc") return name == "format";
    if (group == "xmp") return name.starts_with("Thumbnails");
    if (group == "xmpNote") return true;  // says that more of it lies elsewhere in the file
    // A raw converter's settings: it would apply them to the result once more.
    return group == "crs";
}

// The kind and turn of the picture, small copies of it, and the records that describe its samples.
bool belongsToSource(const Exiv2::Iptcdatum& datum) {
    constexpr std::uint16_t aboutFile = 1;
    constexpr std::uint16_t application = 2;
    if (datum.record() == aboutFile) return false;
    if (datum.record() != application) return true;
    const std::uint16_t dataset = datum.tag();
    return dataset == 125 || dataset == 130 || dataset == 131 || (dataset >= 200 && dataset <= 202);
}

// What a file says of itself even when nobody has told it anything.
bool isBookkeeping(const Exiv2::Exifdatum& datum) {
    const std::string key = datum.key();
    return datum.groupName() == "Iop" || key == "Exif.Photo.ExifVersion" ||
           key == "Exif.Photo.FlashpixVersion" || key == "Exif.Photo.ColorSpace" ||
           key == "Exif.GPSInfo.GPSVersionID" || key.starts_with("Exif.MakerNote.");
}

bool isBookkeeping(const Exiv2::Iptcdatum& datum) {
    return datum.record() == 1 || datum.tag() == 0;  // the versions, and the set of characters
}

bool isBookkeeping(const Exiv2::Xmpdatum& datum) {
    const std::string key = datum.key();
    return datum.groupName() == "xmpMM" || key == "Xmp.xmp.CreatorTool" ||
           key == "Xmp.xmp.MetadataDate";
}

bool isMakerNote(const Exiv2::Exifdatum& datum) {
    const std::string group = datum.groupName();
    return (group != "Image" && group != "Photo" && group != "GPSInfo" && group != "Iop") ||
           datum.key() == "Exif.Photo.MakerNote";
}

// Builds the list anew: taking single ones out of the library's lists takes time for all behind.
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

// A note of a make that the library does not know came as bytes. What lies in it at which offset,
// and from where that counts, only its maker knows: moved to another place it would be damaged,
// unless it counts from its own start.
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

// Places in the picture, counted in the source's rows and columns.
bool isPlaceInPicture(const Exiv2::Exifdatum& datum) {
    const std::string key = datum.key();
    return key == "Exif.Photo.SubjectArea" || key == "Exif.Photo.SubjectLocation";
}

bool isPlaceInPicture(const Exiv2::Xmpdatum& datum) {
    const std::string group = datum.groupName();
    return group == "mwg-rs" || group == "MP" || group == "MPRI" || group == "MPReg" ||
           (group == "exif" && datum.tagName().starts_with("Subject"));
}

// Larger than a record may be, all together, means that the file is no honest one.
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
        Log("The maker note is of an unknown kind and is left out");
        removeWhere(records.exif, isMakerNote);
    }
    if (bytesOf(records.exif) > largestRecord) removeWhere(records.exif, isMakerNote);
    removeIfTooLarge(records.exif);
    removeIfTooLarge(records.iptc);
    removeIfTooLarge(records.xmp);
}

bool isEmpty(const ExivRecords& records) {
    const auto says = [](const auto& datum) { return !isBookkeeping(datum); };
    return std::none_of(records.exif.begin(), records.exif.end(), says) &&
           std::none_of(records.iptc.begin(), records.iptc.end(), says) &&
           std::none_of(records.xmp.begin(), records.xmp.end(), says);
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

// The values of a directory are laid out by rising tags, so that one of this lowest tag holds the
// place of what is to stand before the others.
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
        Log(std::string("The maker note is left out: ") + error.what());
    }
    try {
        ExivRecords withoutMakerNote = records;
        removeWhere(withoutMakerNote.exif, isMakerNote);
        return encode(withoutMakerNote, bigEndian, firstByte);
    } catch (const std::exception& error) {
        Log(std::string("The metadata cannot be written: ") + error.what());
        return {};
    }
}

std::optional<ExivRecords> readCarriedRecords(const fs::path& path) {
    auto read = readExivRecords(path);
    if (!read) return std::nullopt;
    try {
        keepWhatCanBeCarried(*read);
    } catch (const std::exception& error) {
        Log(path.native() + ": " + error.what());
        return std::nullopt;
    }
    return read;
}

bool saysNothing(const ExivRecords& records) {
    return isEmpty(records);
}

}  // namespace lumaweave
