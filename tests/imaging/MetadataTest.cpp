// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/metadata/Metadata.h"

#include <gmock/gmock.h>

#include <exiv2/exiv2.hpp>
#include <vips/vips8>

#include "imaging/MetadataSupport.h"
#include "imaging/metadata/MetadataWriter.h"
#include "platform/WorkingFolder.h"
#include "support/FormatFixtures.h"
#include "support/LogRecorder.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class MetadataTest : public testing::Test {
  protected:
    MetadataTest() { createWorkingFolder(); }
    ~MetadataTest() override { removeWorkingFolder(); }

    // The tags of a result that has been given the source's metadata.
    Tags carried(const fs::path& source) {
        const fs::path result = folder / "result.tif";
        makeResult(result);
        const auto metadata = readMetadata(source);
        EXPECT_NE(metadata, nullptr);
        if (metadata == nullptr) return {};
        EXPECT_TRUE(copyTiffWithMetadata(result, result, metadata.get()));
        return exifToolTags(result);
    }

    TestFolder folder;
};

TEST_F(MetadataTest, EveryTagOfAJpegArrives) {
    const fs::path source = folder / "source.jpg";
    makeSource(source, photographersTags());
    const Tags tags = exifToolTags(source);
    ASSERT_GE(tags.size(), photographersTags().size()) << "the source has what it should have";
    EXPECT_THAT(unexpectedDifferences(tags, carried(source)), IsEmpty());
}

// The check above can fail: it names a tag that is missing, one too many, and another value.
TEST_F(MetadataTest, TheComparisonNamesWhatDiffers) {
    const fs::path source = folder / "source.jpg";
    makeSource(source, {"-Artist=A", "-Make=M"});
    const fs::path other = folder / "other.jpg";
    makeSource(other, {"-Artist=B", "-Model=M"});
    EXPECT_THAT(unexpectedDifferences(exifToolTags(source), carried(other)),
                ElementsAre("+IFD0:Model", "-IFD0:Make", "~IFD0:Artist"));
}

struct MakerCase {
    const char* name;
    const char* make;
    MakerTags tags;
};

// A note whose offsets count from its own start: a header, and one entry (a version number).
constexpr auto appleNote =
    "65 112 112 108 101 32 105 79 83 0 0 1 77 77 0 1 0 1 0 9 0 0 0 1 0 0 0 4 0 0 0 0";

class MakerNoteTest : public MetadataTest, public testing::WithParamInterface<MakerCase> {};

// The notes count their offsets from the start of the file, of the note, or not at all.
TEST_P(MakerNoteTest, ArrivesWhole) {
    const fs::path source = folder / "source.jpg";
    makeSource(source, photographersTags());
    addMakerNote(source, GetParam().make, GetParam().tags);
    const Tags tags = exifToolTags(source);
    EXPECT_THAT(unexpectedDifferences(tags, carried(source)), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Makers, MakerNoteTest,
    testing::Values(
        MakerCase{"Canon",
                  "Canon",
                  {{"Exif.Canon.OwnerName", "A. Person"},
                   {"Exif.Canon.SerialNumber", "12345"},
                   {"Exif.Canon.LensModel", "EF24-70mm f/2.8L"}}},
        MakerCase{"Nikon",
                  "NIKON CORPORATION",
                  {{"Exif.Nikon3.Version", "48 50 49 48"},
                   {"Exif.Nikon3.ISOSpeed", "0 200"},
                   {"Exif.Nikon3.Quality", "FINE"},
                   {"Exif.Nikon3.SerialNumber", "123 4567 long"}}},
        MakerCase{
            "Olympus",
            "OLYMPUS CORPORATION",
            {{"Exif.Olympus.CameraID", "OLYMPUS DIGITAL CAMERA"}, {"Exif.Olympus.Quality", "2"}}},
        MakerCase{"Panasonic",
                  "Panasonic",
                  {{"Exif.Panasonic.FirmwareVersion", "0 1 0 2"},
                   {"Exif.Panasonic.LensType", "LUMIX G VARIO"}}},
        MakerCase{"Sony",
                  "SONY",
                  {{"Exif.Sony1.Quality", "2"},
                   {"Exif.Sony1.LensID", "55"},
                   {"Exif.Sony1.FullImageSize", "2000 3000"}}},
        MakerCase{"Fujifilm",
                  "FUJIFILM",
                  {{"Exif.Fujifilm.Version", "48 49 51 48"},
                   {"Exif.Fujifilm.Quality", "FINE as a long text"}}},
        MakerCase{
            "Pentax", "PENTAX", {{"Exif.Pentax.Quality", "2"}, {"Exif.Pentax.Date", "7 217 5 3"}}},
        MakerCase{"Sigma",
                  "SIGMA",
                  {{"Exif.Sigma.SerialNumber", "1003333"}, {"Exif.Sigma.Quality", "12"}}},
        MakerCase{"Minolta",
                  "Minolta Co., Ltd.",
                  {{"Exif.Minolta.Version", "77 76 84 48"}, {"Exif.Minolta.Quality", "2"}}},
        MakerCase{"CountsFromItself", "Apple", {{"Exif.Photo.MakerNote", appleNote}}}),
    [](const auto& parameter) { return std::string(parameter.param.name); });

// Its offsets would point elsewhere in the new file, and nobody could tell.
TEST_F(MetadataTest, AMakerNoteOfAnUnknownKindIsLeftOutAndTheRestCarried) {
    const LogRecorder log;
    const fs::path source = folder / "source.jpg";
    makeSource(source, {"-IFD0:Model=Model 7", "-ExifIFD:FNumber=8"});
    addMakerNote(source, "RICOH", {{"Exif.Photo.MakerNote", "82 105 99 111 104 0 0 0 1 0 2 0"}});
    const Tags result = carried(source);
    EXPECT_EQ(result.at("IFD0:Make"), "RICOH");
    EXPECT_EQ(result.at("ExifIFD:FNumber"), "[8]");
    EXPECT_THAT(complaintsIn(result), IsEmpty());
    EXPECT_EQ(log.count("The maker note is of an unknown kind and is left out"), 1);
}

class SourceFormatTest : public MetadataTest, public testing::WithParamInterface<const char*> {};

TEST_P(SourceFormatTest, CarriesItsTags) {
    const fs::path source = folder / (std::string("source.") + GetParam());
    makeSource(source, photographersTags());
    const Tags tags = exifToolTags(source);
    const Tags result = carried(source);
    for (const char* tag : {"IFD0:Make", "ExifIFD:FNumber", "GPS:GPSLatitude", "XMP-dc:Title"}) {
        ASSERT_EQ(tags.count(tag), 1U) << tag;
        ASSERT_EQ(result.count(tag), 1U) << tag;
        EXPECT_EQ(result.at(tag), tags.at(tag)) << tag;
    }
    EXPECT_THAT(unexpectedDifferences(tags, result), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Formats, SourceFormatTest, testing::Values("jpg", "tif", "png", "webp"),
                         [](const auto& parameter) { return std::string(parameter.param); });

TEST_F(MetadataTest, AHeicSourceCarriesItsTags) {
    const fs::path source = folder / "source.heic";
    vipsImage(makeImage(64, 48, {}, sceneAt(1))).heifsave(source.c_str());
    ASSERT_TRUE(
        writeTags(source, {"-IFD0:Make=Maker", "-ExifIFD:FNumber=5.6", "-XMP-dc:Title=Title"}));
    const Tags result = carried(source);
    EXPECT_EQ(result.at("IFD0:Make"), "Maker");
    EXPECT_EQ(result.at("ExifIFD:FNumber"), "[5.6]");
    EXPECT_EQ(result.at("XMP-dc:Title"), "Title");
    EXPECT_THAT(complaintsIn(result), IsEmpty());
}

TEST_F(MetadataTest, AnAvifSourceCarriesItsTags) {
    const fs::path source = folder / "source.avif";
    vipsImage(makeImage(64, 48, {}, sceneAt(1)))
        .heifsave(source.c_str(),
                  vips::VImage::option()->set("compression", VIPS_FOREIGN_HEIF_COMPRESSION_AV1));
    ASSERT_TRUE(
        writeTags(source, {"-IFD0:Make=Maker", "-ExifIFD:FNumber=5.6", "-XMP-dc:Title=Title"}));
    const Tags result = carried(source);
    EXPECT_EQ(result.at("IFD0:Make"), "Maker");
    EXPECT_EQ(result.at("ExifIFD:FNumber"), "[5.6]");
    EXPECT_EQ(result.at("XMP-dc:Title"), "Title");
    EXPECT_THAT(complaintsIn(result), IsEmpty());
}

TEST_F(MetadataTest, ARawFileWithAMosaicCarriesItsTags) {
    const fs::path source = folder / "source.dng";
    writeDng(32, 32, [](int, int, int) { return 0.3; }, source, {});
    ASSERT_TRUE(writeTags(source, {"-ExifIFD:FNumber=5.6", "-ExifIFD:ISO=200"}));
    const Tags result = carried(source);
    EXPECT_EQ(result.at("IFD0:Make"), "Test");
    EXPECT_EQ(result.at("ExifIFD:FNumber"), "[5.6]");
    EXPECT_EQ(result.at("ExifIFD:ISO"), "[200]");
    EXPECT_THAT(complaintsIn(result), IsEmpty());
}

// The metadata library does not know these.
TEST_F(MetadataTest, FilesOfLightAndJpegXlCarryNothing) {
    const Image picture = makeImage(32, 32, {3, false, SampleType::float32}, sceneAt(1));
    writeExr(picture, folder / "source.exr", {});
    writeRadiance(picture, folder / "source.hdr");
    writeJxl(picture, folder / "source.jxl");
    for (const char* name : {"source.exr", "source.hdr", "source.jxl"})
        EXPECT_EQ(readMetadata(folder / name), nullptr) << name;
}

// A raw file's own directory is full of what its raw pixels need to be developed.
TEST_F(MetadataTest, ARawSourceCarriesTheCameraAndNotItsDevelopment) {
    const fs::path source = folder / "source.tif";
    auto tags = photographersTags();
    for (const char* tag : {"-IFD0:DNGVersion=1 4 0 0", "-IFD0:UniqueCameraModel=Maker Model 7",
                            "-IFD0:ColorMatrix1=1 0 0 0 1 0 0 0 1", "-IFD0:AsShotNeutral=0.5 1 0.6",
                            "-IFD0:BaselineExposure=0.5", "-XMP-crs:Exposure2012=1.5",
                            "-IFD0:CFARepeatPatternDim=2 2"}) {
        tags.emplace_back(tag);
    }
    makeSource(source, tags);
    fs::rename(source, folder / "source.dng");
    const auto differences =
        unexpectedDifferences(exifToolTags(folder / "source.dng"), carried(folder / "source.dng"));
    EXPECT_THAT(differences, ElementsAre("-IFD0:AsShotNeutral", "-IFD0:BaselineExposure",
                                         "-IFD0:CFARepeatPatternDim", "-IFD0:ColorMatrix1",
                                         "-IFD0:DNGVersion", "-XMP-crs:Exposure2012"));
}

TEST_F(MetadataTest, ABigEndianSourceCarriesTheSameValues) {
    const fs::path source = folder / "source.jpg";
    saveImage(makeImage(64, 48, {}, sceneAt(1)), source);
    auto tags = photographersTags();
    tags.insert(tags.begin(), "-ExifByteOrder=MM");
    ASSERT_TRUE(writeTags(source, {"-all="}));
    ASSERT_TRUE(writeTags(source, tags));
    ASSERT_EQ(exifToolTags(source).at("File:ExifByteOrder"), "Big-endian (Motorola, MM)");
    EXPECT_THAT(unexpectedDifferences(exifToolTags(source), carried(source)), IsEmpty());
}

TEST_F(MetadataTest, ATurnedSourceGivesAnUprightResult) {
    const fs::path source = folder / "source.jpg";
    makeSource(source, {"-IFD0:Orientation=6", "-XMP-tiff:Orientation=6", "-IFD0:Make=Maker"});
    const Tags result = carried(source);
    EXPECT_EQ(result.at("IFD0:Orientation"), "Horizontal (normal)");
    EXPECT_EQ(result.count("XMP-tiff:Orientation"), 0U);
    EXPECT_EQ(result.at("IFD0:Make"), "Maker");
}

TEST_F(MetadataTest, PlacesInThePictureAreCarriedUnlessThePictureWasTurned) {
    const fs::path source = folder / "source.jpg";
    makeSource(source, {"-IFD0:Make=Maker", "-ExifIFD:SubjectArea=10 20"});
    EXPECT_EQ(carried(source).at("ExifIFD:SubjectArea"), "10 20");
    ASSERT_TRUE(writeTags(source, {"-IFD0:Orientation=8"}));
    EXPECT_EQ(carried(source).count("ExifIFD:SubjectArea"), 0U);
    ASSERT_TRUE(writeTags(source, {"-IFD0:Orientation=1", "-XMP-exif:SubjectArea=1 2",
                                   "-XMP-mwg-rs:RegionName=A. Person"}));
    EXPECT_EQ(carried(source).count("XMP-mwg-rs:RegionName"), 1U);
    ASSERT_TRUE(writeTags(source, {"-IFD0:Orientation=8"}));
    const Tags turned = carried(source);
    EXPECT_EQ(turned.count("XMP-mwg-rs:RegionName"), 0U);
    EXPECT_EQ(turned.count("XMP-exif:SubjectArea"), 0U);
}

TEST_F(MetadataTest, WhatDescribesTheSourcesPixelsIsLeftOut) {
    const fs::path source = folder / "source.jpg";
    makeSource(source, {"-IFD0:Make=Maker", "-IFD0:XResolution=300", "-ExifIFD:ExifImageWidth=64",
                        "-ExifIFD:CompressedBitsPerPixel=4", "-XMP-tiff:ImageWidth=64",
                        "-XMP-exif:ExifImageWidth=64", "-XMP-dc:Format=image/jpeg",
                        "-XMP-photoshop:ICCProfileName=Profile", "-XMP-crs:HasSettings=True",
                        "-InteropIFD:RelatedImageWidth=64"});
    const Tags tags = exifToolTags(source);
    const Tags result = carried(source);
    for (const char* tag :
         {"ExifIFD:ExifImageWidth", "ExifIFD:CompressedBitsPerPixel", "XMP-tiff:ImageWidth",
          "XMP-exif:ExifImageWidth", "XMP-dc:Format", "XMP-photoshop:ICCProfileName",
          "XMP-crs:HasSettings", "InteropIFD:RelatedImageWidth"}) {
        EXPECT_EQ(tags.count(tag), 1U) << tag;
        EXPECT_EQ(result.count(tag), 0U) << tag;
    }
    EXPECT_EQ(result.at("IFD0:ImageWidth"), "[64]");
    EXPECT_EQ(result.at("IFD0:XResolution"), "[10]");
    EXPECT_EQ(result.at("IFD0:ResolutionUnit"), "cm");
}

TEST_F(MetadataTest, AThumbnailIsNotCarried) {
    const fs::path small = folder / "small.jpg";
    saveImage(makeImage(32, 24, {}, sceneAt(1)), small);
    const fs::path source = folder / "source.jpg";
    makeSource(source, {"-IFD0:Make=Maker", "-ThumbnailImage<=" + small.native()});
    ASSERT_EQ(exifToolTags(source).count("IFD1:ThumbnailImage"), 1U);
    const Tags result = carried(source);
    EXPECT_THAT(tagsOfGroup(result, "IFD1:"), IsEmpty());
    EXPECT_EQ(result.at("IFD0:Make"), "Maker");
}

// An editor would show them in place of the fused picture.
TEST_F(MetadataTest, PreviewsLayersAndTurnsOfOtherRecordsAreNotCarried) {
    const fs::path source = folder / "source.tif";
    makeSource(source, {"-IFD0:Make=Maker", "-IPTC:City=Bern", "-IPTC:ImageOrientation=P",
                        "-IPTC:ImageType=3C", "-IPTC:ObjectPreviewData=preview"});
    const Tags result = carried(source);
    EXPECT_EQ(result.at("IPTC:City"), "Bern");
    for (const char* tag : {"IPTC:ImageOrientation", "IPTC:ImageType", "IPTC:ObjectPreviewData"}) {
        EXPECT_EQ(exifToolTags(source).count(tag), 1U) << tag;
        EXPECT_EQ(result.count(tag), 0U) << tag;
    }
    const auto image = Exiv2::ImageFactory::open(source.native());
    image->readMetadata();
    const std::string layers = "LAYERS OF ITS OWN";
    Exiv2::DataValue value(reinterpret_cast<const Exiv2::byte*>(layers.data()),
                           static_cast<long>(layers.size()));
    image->exifData().add(Exiv2::ExifKey("Exif.Image.0x935c"), &value);
    image->writeMetadata();
    ASSERT_NE(readFile(source).find(layers), std::string::npos);
    EXPECT_EQ(carried(source).at("IFD0:Make"), "Maker");
    EXPECT_EQ(readFile(folder / "result.tif").find(layers), std::string::npos);
}

TEST_F(MetadataTest, FilesThatOnlyKeepBooksHaveNone) {
    const fs::path source = folder / "source.jpg";
    makeSource(source, {"-IPTC:CodedCharacterSet=UTF8", "-IPTC:ApplicationRecordVersion=4"});
    EXPECT_EQ(readMetadata(source), nullptr);
    makeSource(source, {"-XMP-xmp:CreatorTool=Tool", "-XMP-xmpMM:DocumentID=1"});
    EXPECT_EQ(readMetadata(source), nullptr);
    makeSource(source, {"-GPS:GPSVersionID=2 3 0 0"});
    EXPECT_EQ(readMetadata(source), nullptr);
}

TEST_F(MetadataTest, FilesThatSayNothingHaveNone) {
    const Image picture = makeImage(64, 48, {}, sceneAt(1));
    for (const char* name : {"plain.jpg", "plain.tif", "plain.png", "plain.webp"}) {
        saveImage(picture, folder / name);
        EXPECT_EQ(readMetadata(folder / name), nullptr) << name;
    }
    const fs::path layout = folder / "layout.jpg";
    makeSource(layout, {"-IFD0:XResolution=300", "-IFD0:Orientation=6", "-ExifIFD:ColorSpace=1",
                        "-ExifIFD:ExifVersion=0232", "-InteropIFD:InteropIndex=R98"});
    EXPECT_EQ(readMetadata(layout), nullptr) << "orientation, resolution and colour are of pixels";
}

TEST_F(MetadataTest, AnyOneRecordIsEnoughAndArrives) {
    for (const char* tag : {"-IFD0:Artist=A", "-ExifIFD:FNumber=8", "-GPS:GPSAltitude=1",
                            "-IPTC:City=Bern", "-XMP-dc:Title=T"}) {
        const fs::path source = folder / "source.jpg";
        makeSource(source, {tag});
        ASSERT_NE(readMetadata(source), nullptr) << tag;
        EXPECT_THAT(unexpectedDifferences(exifToolTags(source), carried(source)), IsEmpty()) << tag;
    }
}

TEST_F(MetadataTest, WhatIsNoPhotographHasNone) {
    const LogRecorder log;
    EXPECT_EQ(readMetadata(folder / "missing.jpg"), nullptr);
    EXPECT_EQ(readMetadata(folder.path()), nullptr);
    EXPECT_EQ(readMetadata(folder.write("words.jpg", "words")), nullptr);
    EXPECT_EQ(readMetadata(folder.write("empty.jpg", "")), nullptr);
    ASSERT_EQ(std::system(("mkfifo '" + (folder / "pipe.jpg").native() + "'").c_str()), 0);
    EXPECT_EQ(readMetadata(folder / "pipe.jpg"), nullptr) << "and does not wait for a writer";
    EXPECT_EQ(log.count("Cannot read " + (folder / "missing.jpg").native()), 1);
}

TEST_F(MetadataTest, TheDescriptionIsOneLineAndShortensLongValues) {
    const fs::path source = folder / "source.jpg";
    makeSource(source,
               {"-IFD0:Artist=A. Person", "-IFD0:Copyright=" + std::string(5000, 'c'),
                "-IFD0:ImageDescription=" + std::string(200, 'd'), "-XMP-dc:Title=two\nlines"});
    const std::string text = readMetadata(source)->description();
    EXPECT_THAT(text, HasSubstr("Exif.Image.Artist = A. Person;"));
    EXPECT_THAT(text, HasSubstr("Exif.Image.Copyright = (5001 bytes);"));
    EXPECT_THAT(text, HasSubstr(std::string(80, 'd') + "...;"));
    EXPECT_THAT(text, Not(HasSubstr("\n")));
}

TEST_F(MetadataTest, ReadingLeavesNothingInTheWorkingFolder) {
    const fs::path source = folder / "source.jpg";
    makeSource(source, {"-Artist=A"});
    const auto filesThere = [] {
        return std::distance(fs::directory_iterator(workingFolder()), fs::directory_iterator());
    };
    const auto before = filesThere();
    ASSERT_NE(readMetadata(source), nullptr);
    EXPECT_EQ(filesThere(), before);
}

}  // namespace lumaweave
