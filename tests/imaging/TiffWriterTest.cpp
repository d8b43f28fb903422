// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/tiff/TiffWriter.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <tiffio.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "ImagingSupport.h"
#include "imaging/formats/VipsLibrary.h"
#include "imaging/picture/PixelData.h"
#include "support/FileSizeLimit.h"
#include "support/LogRecorder.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;
using test::asymmetricPicture;
using test::differenceBetween;
using test::FileSizeLimit;
using test::LogRecorder;
using test::readFile;
using test::TestFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAreArray;

namespace {

Image readBack(const fs::path& path) {
    startVips();
    return test::imageOf(vips::VImage::new_from_file(path.c_str()));
}

ino_t fileNumber(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_ino;
}

std::set<std::string> namesIn(const TestFolder& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder.path()))
        names.insert(entry.path().filename().native());
    return names;
}

class TiffWriterTest : public testing::TestWithParam<Write> {
  protected:
    TestFolder folder;
    const fs::path path = folder / "result.tif";
};

INSTANTIATE_TEST_SUITE_P(Both, TiffWriterTest, testing::Values(Write::plain, Write::atomic),
                         [](const auto& which) {
                             return which.param == Write::plain ? "Plain" : "Atomic";
                         });

}  // namespace

TEST_P(TiffWriterTest, EveryFormatComesBackSampleBySample) {
    for (const PixelFormat& format : test::everyFormat()) {
        // More than one strip, and a last one that is shorter.
        const Image picture = asymmetricPicture(517, 1025, format);
        ASSERT_TRUE(writeTiff(picture, path, GetParam()));
        const Image back = readBack(path);
        EXPECT_EQ(back.format(), format) << test::nameOf(format);
        EXPECT_EQ(differenceBetween(back, picture).largest, 0) << test::nameOf(format);
    }
    EXPECT_THAT(namesIn(folder), ElementsAre("result.tif"));
}

TEST_P(TiffWriterTest, SmallAndOddSizesComeBack) {
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 7000}, {70000, 1}, {3, 2}}) {
        const Image picture = asymmetricPicture(width, height);
        ASSERT_TRUE(writeTiff(picture, path, GetParam()));
        EXPECT_EQ(differenceBetween(readBack(path), picture).largest, 0) << width;
    }
}

TEST_P(TiffWriterTest, TheFileHoldsThePictureItsProfileItsResolutionAndNothingElse) {
    PixelBuffer buffer(40, 30, {3, true, SampleType::uint16});
    buffer.description().colourProfile = test::builtInProfile("p3");
    buffer.description().pixelsPerMillimetre = 300 / 25.4;
    const Image picture = std::move(buffer).finish();
    ASSERT_TRUE(writeTiff(picture, path, GetParam()));
    EXPECT_THAT(
        test::tagsOf(path),
        UnorderedElementsAreArray(
            {TIFFTAG_IMAGEWIDTH, TIFFTAG_IMAGELENGTH, TIFFTAG_BITSPERSAMPLE, TIFFTAG_COMPRESSION,
             TIFFTAG_PHOTOMETRIC, TIFFTAG_STRIPOFFSETS, TIFFTAG_ORIENTATION,
             TIFFTAG_SAMPLESPERPIXEL, TIFFTAG_ROWSPERSTRIP, TIFFTAG_STRIPBYTECOUNTS,
             TIFFTAG_XRESOLUTION, TIFFTAG_YRESOLUTION, TIFFTAG_PLANARCONFIG, TIFFTAG_RESOLUTIONUNIT,
             TIFFTAG_EXTRASAMPLES, TIFFTAG_SAMPLEFORMAT, TIFFTAG_ICCPROFILE}));
    const vips::VImage back = vips::VImage::new_from_file(path.c_str());
    EXPECT_NEAR(back.xres(), 300 / 25.4, 1e-4);
    EXPECT_NEAR(back.yres(), 300 / 25.4, 1e-4);
    std::size_t size = 0;
    const auto* profile = static_cast<const char*>(back.get_blob(VIPS_META_ICC_NAME, &size));
    EXPECT_EQ(QByteArray(profile, static_cast<qsizetype>(size)), picture.colourProfile());
}

TEST_P(TiffWriterTest, OverwritingMakesANewFile) {
    const Image first = asymmetricPicture(40, 30);
    const Image second = asymmetricPicture(20, 10);
    ASSERT_TRUE(writeTiff(first, path, GetParam()));
    // A second name keeps the old file, so that its number cannot be given again.
    fs::create_hard_link(path, folder / "old.tif");
    ASSERT_TRUE(writeTiff(second, path, GetParam()));
    EXPECT_NE(fileNumber(path), fileNumber(folder / "old.tif"));
    EXPECT_EQ(differenceBetween(readBack(path), second).largest, 0);
    EXPECT_EQ(differenceBetween(readBack(folder / "old.tif"), first).largest, 0);
}

TEST_P(TiffWriterTest, OddNamesAreNamesLikeAnyOther) {
    const Image picture = asymmetricPicture(20, 10);
    const fs::path odd = folder / "a[0] %d \xFF\"$x.tif";
    ASSERT_TRUE(writeTiff(picture, odd, GetParam()));
    fs::rename(odd, path);
    EXPECT_EQ(differenceBetween(readBack(path), picture).largest, 0);
}

TEST_P(TiffWriterTest, NoPictureIsNotWritten) {
    EXPECT_FALSE(writeTiff({}, path, GetParam()));
    EXPECT_TRUE(namesIn(folder).empty());
}

TEST_P(TiffWriterTest, AMissingFolderIsAFailureThatIsLogged) {
    const LogRecorder log;
    EXPECT_FALSE(writeTiff(asymmetricPicture(20, 10), folder / "missing/result.tif", GetParam()));
    EXPECT_TRUE(namesIn(folder).empty());
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_THAT(log.lines().front(), HasSubstr("missing/result.tif"));
    EXPECT_THAT(log.lines().front(), HasSubstr("No such file or directory"));
}

TEST_P(TiffWriterTest, WhenThePixelsDoNotFitNoHalfFileIsLeft) {
    const LogRecorder log;
    const FileSizeLimit limit(1'000'000);
    EXPECT_FALSE(writeTiff(asymmetricPicture(1000, 1000), path, GetParam()));
    EXPECT_TRUE(namesIn(folder).empty());
    ASSERT_FALSE(log.lines().empty());
    EXPECT_THAT(log.lines().front(), HasSubstr("Cannot write"));
}

TEST_P(TiffWriterTest, WhenOnlyTheDirectoryDoesNotFitNoHalfFileIsLeft) {
    const Image picture = asymmetricPicture(1000, 1000);
    ASSERT_TRUE(writeTiff(picture, path, GetParam()));
    const auto size = fs::file_size(path);
    fs::remove(path);
    // The pixels and the 8 bytes before them fit; what follows them does not, or not wholly.
    for (const auto fitting : {std::uintmax_t{3'000'008}, std::uintmax_t{3'000'100}, size - 1}) {
        const FileSizeLimit limit(fitting);
        EXPECT_FALSE(writeTiff(picture, path, GetParam())) << fitting << " of " << size;
        EXPECT_TRUE(namesIn(folder).empty());
    }
    const FileSizeLimit limit(size);
    EXPECT_TRUE(writeTiff(picture, path, GetParam()));
}

TEST(TiffWriter, AnAtomicWriteThatFailsLeavesTheOldFile) {
    const TestFolder folder;
    const fs::path path = folder / "result.tif";
    ASSERT_TRUE(writeTiff(asymmetricPicture(20, 10), path, Write::atomic));
    const std::string before = readFile(path);
    const ino_t number = fileNumber(path);
    {
        const FileSizeLimit limit(1'000'000);
        EXPECT_FALSE(writeTiff(asymmetricPicture(1000, 1000), path, Write::atomic));
    }
    EXPECT_EQ(readFile(path), before);
    EXPECT_EQ(fileNumber(path), number);
    EXPECT_THAT(namesIn(folder), ElementsAre("result.tif"));
}

TEST(TiffWriter, AnAtomicWriteThatCannotTakeItsPlaceLeavesNothing) {
    const TestFolder folder;
    const LogRecorder log;
    fs::create_directories(folder / "result.tif/inner");
    EXPECT_FALSE(writeTiff(asymmetricPicture(20, 10), folder / "result.tif", Write::atomic));
    EXPECT_THAT(namesIn(folder), ElementsAre("result.tif"));
    EXPECT_TRUE(fs::is_directory(folder / "result.tif/inner"));
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST(TiffWriter, AtomicWritersOfOneFileDoNotDisturbEachOther) {
    const TestFolder folder;
    const fs::path file = folder / "result.tif";
    const Image picture = asymmetricPicture(200, 100);
    std::atomic<int> failures = 0;
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t) {
        writers.emplace_back([&] {
            for (int i = 0; i < 25; ++i) {
                if (!writeTiff(picture, file, Write::atomic)) ++failures;
                if (differenceBetween(readBack(file), picture).largest > 0) ++failures;
            }
        });
    }
    for (std::thread& writer : writers)
        writer.join();
    EXPECT_EQ(failures, 0);
    EXPECT_THAT(namesIn(folder), ElementsAre("result.tif"));
}

TEST(TiffWriter, ALinkInThePlaceOfTheFileIsReplacedAndNotFollowed) {
    const TestFolder folder;
    const fs::path victim = folder.write("victim", "content");
    fs::create_symlink(victim, folder / "result.tif");
    ASSERT_TRUE(writeTiff(asymmetricPicture(20, 10), folder / "result.tif", Write::plain));
    EXPECT_FALSE(fs::is_symlink(folder / "result.tif"));
    EXPECT_EQ(readFile(victim), "content");
}

TEST(TiffStripWriter, AFileThatIsNotCompletedIsRemoved) {
    const TestFolder folder;
    const fs::path path = folder / "result.tif";
    const Image picture = asymmetricPicture(20, 10);
    {
        TiffStripWriter writer;
        ASSERT_TRUE(writer.open(path, picture.pixels()));
        ASSERT_TRUE(writer.writeStrip(picture.pixels().bytes, 10));
        EXPECT_TRUE(fs::exists(path));
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST(TiffStripWriter, PicturesAboveFourGigabytesGetLongOffsets) {
    const TestFolder folder;
    const fs::path path = folder / "result.tif";
    PixelData description;
    description.format = {3, false, SampleType::uint16};
    description.width = 30000;
    for (const auto& [height, version] : {std::pair{23000, 42}, std::pair{24000, 43}}) {
        description.height = height;
        TiffStripWriter writer;
        ASSERT_TRUE(writer.open(path, description));
        EXPECT_EQ(readFile(path).at(2), version) << height;
    }
}

}  // namespace lumaweave
