// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/metadata/RecordKinds.h"

#include <set>
#include <string>
#include <string_view>

namespace lumaweave {

namespace {

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

}  // namespace

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

bool belongsToSource(const Exiv2::Iptcdatum& datum) {
    constexpr std::uint16_t aboutFile = 1;
    constexpr std::uint16_t application = 2;
    if (datum.record() == aboutFile) return false;
    if (datum.record() != application) return true;
    const std::uint16_t dataset = datum.tag();
    return dataset == 125 || dataset == 130 || dataset == 131 || (dataset >= 200 && dataset <= 202);
}

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

bool isPlaceInPicture(const Exiv2::Exifdatum& datum) {
    const std::string key = datum.key();
    return key == "Exif.Photo.SubjectArea" || key == "Exif.Photo.SubjectLocation";
}

bool isPlaceInPicture(const Exiv2::Xmpdatum& datum) {
    const std::string group = datum.groupName();
    return group == "mwg-rs" || group == "MP" || group == "MPRI" || group == "MPReg" ||
           (group == "exif" && datum.tagName().starts_with("Subject"));
}

}  // namespace lumaweave
