// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/MetadataSupport.h"

#include <gtest/gtest.h>

#include <exiv2/exiv2.hpp>
#include <set>

#include "support/Pictures.h"

namespace lumaweave::test {

namespace fs = std::filesystem;

std::vector<std::string> photographersTags() {
    return {"-IFD0:Make=Maker",
            "-IFD0:Model=Model 7",
            "-IFD0:Software=Firmware 1.2",
            "-IFD0:ModifyDate=2026:05:01 10:11:12",
            "-IFD0:Artist=A. Person",
            "-IFD0:Copyright=(c) A. Person",
            "-IFD0:ImageDescription=A room",
            "-IFD0:Rating=4",
            "-IFD0:XPKeywords=one;two",
            "-ExifIFD:ExposureTime=0.008",
            "-ExifIFD:FNumber=5.6",
            "-ExifIFD:ISO=400",
            "-ExifIFD:DateTimeOriginal=2026:05:01 10:11:12",
            "-ExifIFD:OffsetTimeOriginal=+02:00",
            "-ExifIFD:SubSecTimeOriginal=42",
            "-ExifIFD:ExposureCompensation=-2",
            "-ExifIFD:FocalLength=35",
            "-ExifIFD:LensModel=Lens 35mm F1.8",
            "-ExifIFD:LensInfo=35 35 1.8 1.8",
            "-ExifIFD:LensSerialNumber=L123",
            "-ExifIFD:SerialNumber=B456",
            "-ExifIFD:OwnerName=A. Person",
            "-ExifIFD:UserComment=Some words",
            "-ExifIFD:ImageUniqueID=0123456789abcdef0123456789abcdef",
            "-ExifIFD:ColorSpace=1",
            "-InteropIFD:InteropIndex=R98",
            "-GPS:GPSLatitude=47.5",
            "-GPS:GPSLatitudeRef=N",
            "-GPS:GPSLongitude=8.25",
            "-GPS:GPSLongitudeRef=E",
            "-GPS:GPSAltitude=432",
            "-GPS:GPSImgDirection=181.5",
            "-IPTC:City=Zürich",
            "-IPTC:Keywords=room",
            "-IPTC:Keywords=window",
            "-IPTC:By-line=A. Person",
            "-IPTC:Caption-Abstract=A room with a window",
            "-XMP-dc:Title=Räume",
            "-XMP-dc:Subject=room",
            "-XMP-dc:Subject=window",
            "-XMP-dc:Creator=A. Person",
            "-XMP-xmp:Rating=4",
            "-XMP-lr:HierarchicalSubject=places|room",
            "-XMP-photoshop:City=Zürich",
            "-XMP-xmpRights:UsageTerms=Ask first"};
}

void makeSource(const fs::path& file, const std::vector<std::string>& arguments) {
    saveImage(makeImage(64, 48, {}, sceneAt(1)), file);
    if (!arguments.empty()) {
        ASSERT_TRUE(writeTags(file, arguments));
    }
}

void addMakerNote(const fs::path& file, const std::string& make, const MakerTags& tags) {
    const auto image = Exiv2::ImageFactory::open(file.native());
    image->readMetadata();
    Exiv2::ExifData& exif = image->exifData();
    exif["Exif.Image.Make"] = make;
    for (const auto& [key, value] : tags)
        exif[key].setValue(value);
    image->writeMetadata();
}

void makeResult(const fs::path& file) {
    saveImage(makeImage(64, 48, {3, false, SampleType::uint16}, sceneAt(2)), file);
}

bool concernsPixelsOrFormat(const std::string& difference) {
    static const std::set<std::string> tags = {
        "IFD0:Orientation", "IFD0:XResolution", "IFD0:YResolution", "IFD0:ResolutionUnit",
        "IFD0:YCbCrPositioning", "IFD0:ImageWidth", "IFD0:ImageHeight", "IFD0:BitsPerSample",
        "IFD0:Compression", "IFD0:PhotometricInterpretation", "IFD0:PlanarConfiguration",
        "IFD0:SamplesPerPixel", "IFD0:SampleFormat", "IFD0:RowsPerStrip", "IFD0:StripOffsets",
        "IFD0:StripByteCounts", "ExifIFD:ComponentsConfiguration", "ExifIFD:ExifImageWidth",
        "ExifIFD:ExifImageHeight", "ExifIFD:CompressedBitsPerPixel",
        // Its own toolkit wrote the packet anew.
        "XMP-x:XMPToolkit"};
    const std::string tag = difference.substr(1);
    return tags.count(tag) != 0 || tag.starts_with("File:") || tag.starts_with("JFIF:") ||
           tag.starts_with("PNG") || tag.starts_with("RIFF:") || tag.starts_with("QuickTime:") ||
           tag.starts_with("Meta:") || tag.starts_with("ICC") || tag.starts_with("Composite:") ||
           tag.starts_with("Photoshop:") || tag.starts_with("IFD1:");
}

std::vector<std::string> unexpectedDifferences(const Tags& source, const Tags& result) {
    std::vector<std::string> differences = differencesBetween(source, result);
    std::erase_if(differences, concernsPixelsOrFormat);
    // What is wrong with the source's file, and not with the result's.
    std::erase(differences, "-ExifTool:Warning");
    return differences;
}

}  // namespace lumaweave::test
