// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/metadata/MetadataWriter.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <tiffio.h>

#include <csignal>
#include <exiv2/exiv2.hpp>
#include <vips/vips8>

#include "imaging/MetadataSupport.h"
#include "imaging/decoding/ImageDecoder.h"
#include "imaging/metadata/Metadata.h"
#include "imaging/tiff/TiffDirectory.h"
#include "imaging/tiff/TiffWriter.h"
#include "platform/WorkingFolder.h"
#include "support/LogRecorder.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"
#include "support/TiffPages.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

class MetadataWriterTest : public testing::Test {
  protected:
    MetadataWriterTest() {
        createWorkingFolder();
        source = folder / "source.jpg";
        makeSource(source, photographersTags());
        addMakerNote(source, "Canon", {{"Exif.Canon.OwnerName", "A. Person with a long name"}});
        metadata = readMetadata(source);
        EXPECT_NE(metadata, nullptr);
    }
    ~MetadataWriterTest() override { removeWorkingFolder(); }

    Outcome write(const fs::path& file) { return copyTiffWithMetadata(file, file, metadata.get()); }

    // Pixels are what they were, and the tags have come.
    void expectCarried(const fs::path& file) {
        const auto before = tiffPages(file);
        ASSERT_THAT(before, Not(IsEmpty()));
        ASSERT_THAT(before.front(), Not(IsEmpty()));
        ASSERT_TRUE(write(file));
        EXPECT_EQ(tiffPages(file), before);
        const Tags tags = exifToolTags(file);
        EXPECT_THAT(complaintsIn(tags), IsEmpty());
        for (const auto& [tag, value] : exifToolTags(source)) {
            if (tag == "ExifIFD:ColorSpace" || tag.starts_with("InteropIFD:")) continue;
            if (concernsPixelsOrFormat("-" + tag)) continue;
            const auto found = tags.find(tag);
            EXPECT_TRUE(found != tags.end() && found->second == value) << tag;
        }
    }
    // A file made from a small picture by a command of the TIFF tools.
    fs::path converted(const std::string& command, SampleType type = SampleType::uint16) {
        const fs::path page = folder / "page.tif";
        saveImage(makeImage(64, 48, {3, false, type}, sceneAt(2)), page);
        const fs::path file = folder / "converted.tif";
        const std::string line = command + " '" + page.native() + "' '" + file.native() + "'";
        EXPECT_EQ(std::system(line.c_str()), 0) << line;
        return file;
    }

    TestFolder folder;
    fs::path source;
    std::shared_ptr<const Metadata> metadata;
};

namespace {

// The current page's own entries, its EXIF and its GPS, as the TIFF library reads them.
void expectDirectories(TIFF* tiff) {
    const char* artist = nullptr;
    ASSERT_EQ(TIFFGetField(tiff, TIFFTAG_ARTIST, &artist), 1);
    EXPECT_STREQ(artist, "A. Person");
    std::uint32_t size = 0;
    const void* bytes = nullptr;
    EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_XMLPACKET, &size, &bytes), 1);
    toff_t exif = 0;
    toff_t gps = 0;
    ASSERT_EQ(TIFFGetField(tiff, TIFFTAG_EXIFIFD, &exif), 1);
    ASSERT_EQ(TIFFGetField(tiff, TIFFTAG_GPSIFD, &gps), 1);
    const tdir_t directory = TIFFCurrentDirectory(tiff);
    ASSERT_EQ(TIFFReadEXIFDirectory(tiff, exif), 1);
    const char* lens = nullptr;
    ASSERT_EQ(TIFFGetField(tiff, EXIFTAG_LENSMODEL, &lens), 1);
    EXPECT_STREQ(lens, "Lens 35mm F1.8");
    float exposure = 0;
    ASSERT_EQ(TIFFGetField(tiff, EXIFTAG_EXPOSURETIME, &exposure), 1);
    EXPECT_FLOAT_EQ(exposure, 0.008F);
    ASSERT_EQ(TIFFReadGPSDirectory(tiff, gps), 1);
    double altitude = 0;
    ASSERT_EQ(TIFFGetField(tiff, GPSTAG_ALTITUDE, &altitude), 1);
    EXPECT_DOUBLE_EQ(altitude, 432);
    ASSERT_EQ(TIFFSetDirectory(tiff, directory), 1);
}

}  // namespace

class DepthTest : public MetadataWriterTest, public testing::WithParamInterface<SampleType> {};

TEST_P(DepthTest, PixelsAreUntouched) {
    for (const int colours : {1, 3}) {
        for (const bool alpha : {false, true}) {
            const fs::path file = folder / "result.tif";
            saveImage(makeImage(61, 47, {colours, alpha, GetParam()}, sceneAt(1)), file);
            expectCarried(file);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Types, DepthTest,
                         testing::Values(SampleType::uint8, SampleType::uint16,
                                         SampleType::float32));

TEST_F(MetadataWriterTest, PixelsAreUntouchedWhateverTheLayout) {
    for (const char* command :
         {"tiffcp -c none", "tiffcp -c lzw", "tiffcp -c lzw:2", "tiffcp -c zip",
          "tiffcp -c packbits", "tiffcp -t -w 16 -l 16", "tiffcp -r 1", "tiffcp -B"}) {
        SCOPED_TRACE(command);
        expectCarried(converted(command));
    }
    expectCarried(converted("tiffcp -p separate", SampleType::uint8));
}

// Its directories have another form. (exiftool does not name their groups as it does elsewhere, so
// the TIFF library reads them.)
TEST_F(MetadataWriterTest, AFileWithLongOffsetsIsCarriedToo) {
    for (const char* command : {"tiffcp -8", "tiffcp -8 -B -r 1", "tiffcp -8 -t -w 16 -l 16"}) {
        SCOPED_TRACE(command);
        const fs::path file = converted(command);
        const auto before = tiffPages(file);
        ASSERT_TRUE(write(file));
        EXPECT_EQ(tiffPages(file), before);
        EXPECT_THAT(complaintsIn(exifToolTags(file)), IsEmpty());
        TIFF* tiff = TIFFOpen(file.c_str(), "rm");
        ASSERT_NE(tiff, nullptr);
        EXPECT_NE(TIFFIsBigTIFF(tiff), 0);
        expectDirectories(tiff);
        TIFFClose(tiff);
    }
}

TEST_F(MetadataWriterTest, EveryPageIsKeptAndHasTheMetadata) {
    const fs::path page = folder / "page.tif";
    makeResult(page);
    const fs::path file = folder / "pages.tif";
    std::string line = "tiffcp";
    for (int i = 0; i < 12; ++i)
        line += " '" + page.native() + "'";
    ASSERT_EQ(std::system((line + " '" + file.native() + "'").c_str()), 0);
    expectCarried(file);
    ASSERT_THAT(tiffPages(file), SizeIs(12));
    TIFF* tiff = TIFFOpen(file.c_str(), "rm");
    ASSERT_NE(tiff, nullptr);
    int pages = 0;
    do {
        ++pages;
        expectDirectories(tiff);
    } while (TIFFReadDirectory(tiff) != 0);
    TIFFClose(tiff);
    EXPECT_EQ(pages, 12);
    const Tags tags = exifToolTags(file);
    EXPECT_EQ(tags.at("Canon:OwnerName"), "A. Person with a long name");
    EXPECT_EQ(tags.at("IPTC12:City"), "Zürich");
}

TEST_F(MetadataWriterTest, TheResultsColourProfileIsKeptAndNotContradicted) {
    const fs::path file = folder / "result.tif";
    VipsBlob* profile = nullptr;
    ASSERT_EQ(vips_profile_load("p3", &profile, nullptr), 0);
    std::size_t size = 0;
    const void* bytes = vips_blob_get(profile, &size);
    vips::VImage picture = vipsImage(makeImage(64, 48, {}, sceneAt(1)));
    picture.set(VIPS_META_ICC_NAME, nullptr, const_cast<void*>(bytes), size);
    picture.tiffsave(file.c_str());
    const QByteArray own(static_cast<const char*>(bytes), static_cast<qsizetype>(size));
    vips_area_unref(VIPS_AREA(profile));
    expectCarried(file);
    EXPECT_EQ(decodeImage(file).colourProfile(), own);
    const Tags tags = exifToolTags(file);
    EXPECT_EQ(tags.count("ExifIFD:ColorSpace"), 0U);
    EXPECT_THAT(tagsOfGroup(tags, "InteropIFD:"), IsEmpty());
    EXPECT_EQ(tags.count("ExifIFD:FNumber"), 1U);
}

TEST_F(MetadataWriterTest, WithoutAProfileTheSourcesColourSpaceIsTrueAndKept) {
    const fs::path file = folder / "result.tif";
    makeResult(file);
    ASSERT_TRUE(write(file));
    const Tags tags = exifToolTags(file);
    EXPECT_EQ(tags.at("ExifIFD:ColorSpace"), "sRGB");
    EXPECT_EQ(tags.count("InteropIFD:InteropIndex"), 1U);
}

TEST_F(MetadataWriterTest, TheSourcesProfileIsNotCarried) {
    const fs::path withProfile = folder / "profile.jpg";
    vipsImage(makeImage(64, 48, {}, sceneAt(1)))
        .jpegsave(withProfile.c_str(), vips::VImage::option()->set("profile", "p3"));
    ASSERT_TRUE(writeTags(withProfile, {"-Artist=A"}));
    ASSERT_THAT(tagsOfGroup(exifToolTags(withProfile), "ICC"), Not(IsEmpty()));
    metadata = readMetadata(withProfile);
    const fs::path file = folder / "result.tif";
    makeResult(file);
    ASSERT_TRUE(write(file));
    EXPECT_THAT(tagsOfGroup(exifToolTags(file), "ICC"), IsEmpty());
}

TEST_F(MetadataWriterTest, WritingTwiceReplacesTheTags) {
    const fs::path file = folder / "result.tif";
    makeResult(file);
    ASSERT_TRUE(write(file));
    const Tags once = exifToolTags(file);
    expectCarried(file);
    EXPECT_THAT(differencesBetween(once, exifToolTags(file)),
                testing::Each(testing::HasSubstr("StripOffsets")));
}

TEST_F(MetadataWriterTest, ALargeMakerNoteArrivesWhole) {
    // More than a JPEG's header can hold: from a TIFF.
    std::string text = "65 112 112 108 101 32 105 79 83 0 0 1 77 77";
    std::string bytes("Apple iOS\0\0\1MM", 14);
    for (int i = 0; i < 200000; ++i) {
        text += " " + std::to_string(i % 251);
        bytes += static_cast<char>(i % 251);
    }
    const fs::path tiff = folder / "source.tif";
    makeSource(tiff, {"-Artist=A"});
    addMakerNote(tiff, "Apple", {{"Exif.Photo.MakerNote", text}});
    metadata = readMetadata(tiff);
    ASSERT_NE(metadata, nullptr);
    const fs::path file = folder / "result.tif";
    makeResult(file);
    ASSERT_TRUE(write(file));
    EXPECT_NE(readFile(file).find(bytes), std::string::npos);
    EXPECT_THAT(readMetadata(file)->description(),
                testing::HasSubstr("Exif.Photo.MakerNote = (200014 bytes)"));
}

// Values of their own would make the file grow with the square of the pages.
TEST_F(MetadataWriterTest, HundredsOfPagesShareTheirValues) {
    const fs::path page = folder / "page.tif";
    makeResult(page);
    const fs::path file = folder / "pages.tif";
    std::string line = "tiffcp";
    for (int i = 0; i < 400; ++i)
        line += " '" + page.native() + "'";
    ASSERT_EQ(std::system((line + " '" + file.native() + "'").c_str()), 0);
    const auto before = tiffPages(file);
    const fs::path large = folder / "large.jpg";
    makeSource(large, {"-Artist=A. Person", "-XMP-dc:Description=" + std::string(40000, 'd')});
    metadata = readMetadata(large);
    const auto size = fs::file_size(file);
    ASSERT_TRUE(write(file));
    EXPECT_EQ(tiffPages(file), before);
    EXPECT_LT(fs::file_size(file), size + (std::size_t{6} << 20));
}

// The profile takes the place of all that it says.
TEST_F(MetadataWriterTest, AnExifThatIsLeftWithoutEntriesIsLeftOut) {
    makeSource(source, {"-IFD0:Artist=A. Person", "-ExifIFD:ColorSpace=1"});
    const auto image = Exiv2::ImageFactory::open(source.native());
    image->readMetadata();
    Exiv2::ExifData exif;
    exif["Exif.Image.Artist"] = std::string("A. Person");
    exif["Exif.Photo.ColorSpace"] = std::uint16_t{1};
    image->setExifData(exif);
    image->writeMetadata();
    metadata = readMetadata(source);
    ASSERT_NE(metadata, nullptr);
    const fs::path file = folder / "result.tif";
    vipsImage(makeImage(64, 48, {}, sceneAt(1)))
        .tiffsave(file.c_str(), vips::VImage::option()->set("profile", "p3"));
    ASSERT_TRUE(write(file));
    const Tags tags = exifToolTags(file);
    EXPECT_EQ(tags.at("IFD0:Artist"), "A. Person");
    EXPECT_THAT(tagsOfGroup(tags, "ExifIFD:"), IsEmpty());
    EXPECT_THAT(complaintsIn(tags), IsEmpty());
    TIFF* tiff = TIFFOpen(file.c_str(), "rm");
    ASSERT_NE(tiff, nullptr);
    toff_t directory = 0;
    EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_EXIFIFD, &directory), 0);
    TIFFClose(tiff);
}

TEST_F(MetadataWriterTest, WithoutMetadataTheCopyIsByteForByte) {
    const fs::path file = folder / "result.tif";
    makeResult(file);
    const std::string bytes = readFile(file);
    EXPECT_TRUE(copyTiffWithMetadata(file, folder / "copy.tif", nullptr));
    EXPECT_EQ(readFile(folder / "copy.tif"), bytes);
    EXPECT_TRUE(copyTiffWithMetadata(file, file, nullptr));
    EXPECT_EQ(readFile(file), bytes);
}

TEST_F(MetadataWriterTest, AnotherDestinationLeavesTheSourceAlone) {
    const fs::path file = folder / "result.tif";
    makeResult(file);
    const std::string bytes = readFile(file);
    ASSERT_TRUE(copyTiffWithMetadata(file, folder / "copy.tif", metadata.get()));
    EXPECT_EQ(readFile(file), bytes);
    EXPECT_EQ(tiffPages(folder / "copy.tif"), tiffPages(file));
}

// What cannot be rewritten stays byte for byte, and nothing is left beside it.
class RefusalTest : public MetadataWriterTest {
  protected:
    void expectRefused(const fs::path& file) {
        const std::string bytes = readFile(file);
        const auto files = [this] {
            return std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator());
        };
        const auto before = files();
        EXPECT_FALSE(write(file));
        EXPECT_EQ(readFile(file), bytes);
        EXPECT_EQ(files(), before);
    }
};

TEST_F(RefusalTest, FilesThatAreNoWholeTiff) {
    expectRefused(folder.write("words.tif", "words"));
    expectRefused(folder.write("empty.tif", ""));
    const fs::path file = folder / "result.tif";
    makeResult(file);
    const std::string whole = readFile(file);
    expectRefused(folder.write("half.tif", whole.substr(0, whole.size() / 2)));
    EXPECT_FALSE(write(folder / "missing.tif"));
}

TEST_F(RefusalTest, PagesThatLeadBackToTheFirst) {
    const fs::path file = folder / "result.tif";
    ASSERT_TRUE(writeTiff(makeImage(8, 8, {}, sceneAt(1)), file, Write::plain));
    std::string bytes = readFile(file);
    const auto number = [&bytes](std::size_t at, int width) {
        std::size_t value = 0;
        for (int i = width - 1; i >= 0; --i)
            value =
                value << 8 | static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(i)]);
        return value;
    };
    const std::size_t first = number(4, 4);
    const std::size_t link = first + 2 + 12 * number(first, 2);
    bytes.replace(link, 4, bytes.substr(4, 4));
    expectRefused(folder.write("loop.tif", bytes));
}

// A file whose directory comes first: what is added at the end would be read as its pixels.
TEST_F(RefusalTest, StripsThatLieBehindTheEnd) {
    constexpr std::uint16_t stripAt = 4096;
    constexpr std::uint16_t stripBytes = 2000;
    TiffStructure structure;
    TiffDirectory page;
    page.set(shortEntry(0x0100, 40, {}));
    page.set(shortEntry(0x0101, 50, {}));
    page.set(shortEntry(0x0102, 8, {}));
    page.set(shortEntry(0x0106, 1, {}));
    page.set(shortEntry(0x0111, stripAt, {}));
    page.set(shortEntry(0x0117, stripBytes, {}));
    structure.pages.push_back(page);
    const auto tail = layOutTiff(structure, 16);
    ASSERT_TRUE(tail.has_value());
    std::string bytes;
    for (const std::byte byte : tail->header)
        bytes += static_cast<char>(byte);
    bytes.resize(16);
    for (const std::byte byte : tail->bytes)
        bytes += static_cast<char>(byte);
    bytes.resize(stripAt + stripBytes, 'p');
    expectRefused(folder.write("cut.tif", bytes.substr(0, bytes.size() - 1)));
    expectCarried(folder.write("whole.tif", bytes));
}

TEST_F(RefusalTest, ADiskWithoutRoom) {
    const fs::path file = folder / "result.tif";
    makeResult(file);
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {8192, RLIM_INFINITY};
    const LogRecorder log;
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    expectRefused(file);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
    EXPECT_EQ(log.count("Cannot write metadata into " + file.native() + ": File too large"), 1);
}

TEST_F(RefusalTest, ADestinationThatCannotBeMade) {
    const fs::path file = folder / "result.tif";
    makeResult(file);
    EXPECT_FALSE(copyTiffWithMetadata(file, folder / "missing" / "a.tif", metadata.get()));
    EXPECT_FALSE(copyTiffWithMetadata(file, folder / "missing" / "a.tif", nullptr));
}

}  // namespace lumaweave
