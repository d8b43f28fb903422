// SPDX-License-Identifier: GPL-3.0-or-later

// What goes to the reader, and what becomes of the program when the reader comes to harm.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <tiffio.h>
#include <unistd.h>

#include <fstream>
#include <thread>

#include "imaging/ImagingSupport.h"
#include "imaging/MetadataSupport.h"
#include "imaging/decoding/ImageDecoder.h"
#include "imaging/formats/HeldPixels.h"
#include "imaging/formats/VipsLibrary.h"
#include "imaging/metadata/FocalLength.h"
#include "imaging/metadata/Metadata.h"
#include "imaging/picture/PixelData.h"
#include "imaging/reader/ReaderJobs.h"
#include "imaging/reader/ReaderProcess.h"
#include "imaging/tiff/TiffWriter.h"
#include "platform/Resources.h"
#include "platform/WorkingFolder.h"
#include "support/HostileFiles.h"
#include "support/LogRecorder.h"
#include "support/PrivateMemory.h"
#include "support/ReaderReplacement.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::Contains;
using testing::HasSubstr;

namespace {

class ReaderProcessTest : public testing::Test {
  protected:
    // The alert's reason is unreadable for each, the log says why, and nothing is left behind.
    void expectUnreadable(const fs::path& source, const std::string& reason) const {
        const LogRecorder log;
        const DecodedFile decoded = decodeToTiff(source, tiff);
        EXPECT_EQ(decoded.failure, DecodeFailure::unreadable);
        EXPECT_TRUE(decoded.image.isNull());
        EXPECT_THAT(log.lines(), Contains(HasSubstr(reason)));
        EXPECT_FALSE(fs::exists(tiff));
        expectNothingLeft();
    }
    void expectUnreadableWith(const std::string& script, const std::string& reason) const {
        const ReaderReplacement reader(script);
        expectUnreadable(large, reason);
    }
    static void expectNothingLeft() {
        EXPECT_EQ(std::distance(fs::directory_iterator(workingFolder()), fs::directory_iterator()),
                  1)
            << "but the lock";
    }
    [[nodiscard]] fs::path photograph() const {
        fs::path file = folder / "photograph.jpg";
        std::vector<std::string> tags = photographersTags();
        tags.emplace_back("-EXIF:FocalLengthIn35mmFormat=52");
        makeSource(file, tags);
        return file;
    }

    TestFolder folder;
    const fs::path tiff = folder / "decoded.tif";
    // What only the reader decodes.
    const fs::path large = folder.write("large.png", interlacedPngThatClaims(8000, 8000));
};

}  // namespace

TEST_F(ReaderProcessTest, DecodesWhatMustBeHeldAsAWhole) {
    startVips();
    const fs::path file = folder / "large.jpg";
    const vips::VImage picture =
        vips::VImage::xyz(7000, 6500).extract_band(0).linear(0.03, 5).cast(VIPS_FORMAT_UCHAR);
    picture.bandjoin(picture.flip(VIPS_DIRECTION_HORIZONTAL))
        .bandjoin(picture)
        .copy(vips::VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB))
        .jpegsave(file.c_str(), vips::VImage::option()->set("interlace", true));
    EXPECT_GT(pixelBytesHeldAtOnce(file), std::uint64_t{256} << 20);
    {
        // Not here: with no reader there is no picture.
        const ReaderReplacement none("");
        EXPECT_TRUE(decodeImage(file).isNull());
    }
    const DecodedFile decoded = decodeToTiff(file, tiff);
    ASSERT_EQ(decoded.failure, DecodeFailure::none);
    ASSERT_EQ(decoded.image.size(), QSizeF(7000, 6500));
    const Image forLooking = decodeImage(file);
    ASSERT_EQ(forLooking.size(), QSizeF(7000, 6500));
    vips::VImage expected = vips::VImage::new_from_file(file.c_str());
    for (const int y : {0, 3000, 6499}) {
        const Image row = imageOf(expected.crop(0, y, 7000, 1));
        for (const Image& image : {decoded.image, forLooking}) {
            const auto* got = image.pixels().row<unsigned char>(y);
            EXPECT_TRUE(std::equal(got, got + 21000, row.pixels().row<unsigned char>(0))) << y;
        }
    }
    EXPECT_TRUE(isDecodable(file));
    EXPECT_TRUE(isWhollyDecodable(file));
    fs::remove(tiff);
    expectNothingLeft();
}

// HEIC, AVIF, JPEG XL, JPEG 2000, OpenEXR, Radiance, raw, and what only the last resort reads.
TEST_F(ReaderProcessTest, DecodesTheFormatsWhoseLibrariesAreNotLetIntoTheProgram) {
    int formats = 0;
    for (const auto& entry :
         fs::directory_iterator(LUMAWEAVE_SOURCE_FOLDER "/fuzz/seeds/formats")) {
        SCOPED_TRACE(entry.path().native());
        EXPECT_EQ(decodeToTiff(entry.path(), tiff).failure, DecodeFailure::none);
        EXPECT_FALSE(decodeImage(entry.path()).isNull());
        EXPECT_TRUE(isDecodable(entry.path()));
        fs::remove(tiff);
        const ReaderReplacement none("");
        expectUnreadable(entry.path(), "lumaweave-reader is missing");
        EXPECT_TRUE(decodeImage(entry.path()).isNull());
        ++formats;
    }
    EXPECT_GE(formats, 10);
}

// The program decodes those itself.
TEST_F(ReaderProcessTest, IsNotNeededForTheUsualFormats) {
    const ReaderReplacement none("");
    for (const char* name : {"baseline.jpg", "progressive.jpg", "rgb16.png", "interlaced.png",
                             "lossy.webp", "lzw.tif", "tiled.tif", "float.tif"}) {
        const fs::path file = fs::path(LUMAWEAVE_SOURCE_FOLDER) / "fuzz/seeds/pictures" / name;
        EXPECT_EQ(decodeToTiff(file, tiff).failure, DecodeFailure::none) << name;
    }
}

TEST_F(ReaderProcessTest, APictureThatIsNotWholeIsRefusedByItAsWell) {
    expectUnreadable(large, large.native());
    EXPECT_TRUE(isDecodable(large)) << "the header is well";
    EXPECT_FALSE(isWhollyDecodable(large));
    EXPECT_TRUE(decodeImage(large).isNull());
    expectNothingLeft();
}

TEST_F(ReaderProcessTest, APictureThatTakesMoreMemoryThanTheReaderMayHave) {
    // 4 GB of samples, of which the file has none.
    const fs::path huge = folder.write("huge.png", interlacedPngThatClaims(23000, 23000));
    const long long before = privateMemory();
    expectUnreadable(huge, isReaderMemoryLimited ? "memory" : huge.native());
    EXPECT_LT(privateMemory() - before, 50'000'000);
}

TEST_F(ReaderProcessTest, AReaderThatCrashes) {
    expectUnreadableWith("kill -SEGV $$", "the reader crashed: Segmentation fault");
    expectUnreadableWith("echo half > \"$3\"; kill -ABRT $$", "the reader crashed: Aborted");
}

TEST_F(ReaderProcessTest, DecodesAPlainPictureOf45Megapixels) {
    const fs::path file = folder / "plain.bmp";
    constexpr std::uint32_t width = 8256;
    constexpr std::uint32_t height = 5504;
    constexpr std::uint32_t headBytes = 54;
    std::string head = "BM";
    const auto append = [&head](std::uint32_t number, int bytes) {
        for (int i = 0; i < bytes; ++i)
            head += static_cast<char>(number >> (8 * i) & 0xFF);
    };
    for (const std::uint32_t number : {headBytes + width * height * 3, 0U, headBytes, 40U, width,
                                       height, 1U | 24U << 16, 0U, 0U, 0U, 0U, 0U, 0U}) {
        append(number, 4);
    }
    std::ofstream(file, std::ios::binary) << head;
    fs::resize_file(file, headBytes + std::uint64_t{width} * height * 3);
    const DecodedFile decoded = decodeToTiff(file, tiff);
    ASSERT_EQ(decoded.failure, DecodeFailure::none);
    EXPECT_EQ(decoded.image.size(), QSizeF(width, height));
}

TEST_F(ReaderProcessTest, ReadersForWhichMemoryDoesNotReachTakeTurns) {
    std::ifstream statm("/proc/self/statm");
    rlim_t pages = 0;
    ASSERT_TRUE(statm >> pages);
    rlimit before{};
    getrlimit(RLIMIT_AS, &before);
    // Less than one reader may take.
    const rlimit tight{pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + readerMemory / 2,
                       before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
    const fs::path one = folder / "one";
    const fs::path two = folder / "two";
    const ReaderReplacement reader("mkdir '" + one.native() + "' || touch '" + two.native() +
                                   "'; sleep 0.1; rmdir '" + one.native() + "'; exit 10");
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 6; ++i)
            threads.emplace_back([this] { EXPECT_FALSE(isWhollyDecodable(large)); });
    }
    setrlimit(RLIMIT_AS, &before);
    EXPECT_FALSE(fs::exists(two)) << "at the same time";
}

TEST_F(ReaderProcessTest, AReaderThatHangs) {
    expectUnreadableWith("echo half > \"$3\"; sleep 1000 & sleep 1000",
                         "reading it took more than 10 s");
}

TEST_F(ReaderProcessTest, AReaderThatWorksForTooLong) {
    expectUnreadableWith("ulimit -S -t 1; while :; do :; done", "reading it took more than 10 s");
}

TEST_F(ReaderProcessTest, AReaderThatGetsNoMemory) {
    expectUnreadableWith("exit 13", "reading it takes more than 2048 MiB of memory");
}

TEST_F(ReaderProcessTest, AReaderThatEndsInAnUnknownWay) {
    expectUnreadableWith("exit 99", "the reader ended with 99");
}

TEST_F(ReaderProcessTest, AReaderThatRefusesSaysWhyInTheLog) {
    expectUnreadableWith("echo \"$2: spoilt\"; exit 10", large.native() + ": spoilt");
}

TEST_F(ReaderProcessTest, AReaderThatLeavesNoTargetOrAWrongOne) {
    const std::string reason = "the reader has left no whole picture";
    expectUnreadableWith("exit 0", reason);
    expectUnreadableWith("echo words > \"$3\"", reason);
    expectUnreadableWith("mkdir \"$3\"", reason);
    expectUnreadableWith("ln -s /dev/zero \"$3\"", reason);
    ASSERT_TRUE(writeTiff(asymmetricPicture(300, 200), folder / "whole", Write::plain));
    expectUnreadableWith("head -c 100000 '" + (folder / "whole").native() + "' > \"$3\"", reason);
    // One that claims more pixels than it has, and one of more than there may be.
    changeTag(folder / "whole", TIFFTAG_IMAGEWIDTH, 65535);
    expectUnreadableWith("cp '" + (folder / "whole").native() + "' \"$3\"", reason);
    startVips();
    vips::VImage::black(longestSide + 1, 1).tiffsave((folder / "long").c_str());
    expectUnreadableWith("cp '" + (folder / "long").native() + "' \"$3\"", reason);
    // And for comparison a whole one.
    ASSERT_TRUE(writeTiff(asymmetricPicture(300, 200), folder / "whole", Write::plain));
    const ReaderReplacement reader("cp '" + (folder / "whole").native() + "' \"$3\"");
    EXPECT_EQ(differenceBetween(decodeToTiff(large, tiff).image, asymmetricPicture(300, 200)).mean,
              0);
}

TEST_F(ReaderProcessTest, AReaderThatIsMissingOrCannotBeRun) {
    {
        const ReaderReplacement none("");
        expectUnreadable(large, "lumaweave-reader is missing");
        EXPECT_FALSE(isDecodable(large));
        EXPECT_FALSE(isWhollyDecodable(large));
        EXPECT_EQ(readMetadata(photograph()), nullptr);
        EXPECT_EQ(focalLengthIn35mm(photograph()), std::nullopt);
    }
    const ReaderReplacement odd("unused");
    std::ofstream(pathForHelper("lumaweave-reader").value()) << "#!/no/such/shell\n";
    expectUnreadable(large, "the reader cannot be started");
}

TEST_F(ReaderProcessTest, AReaderThatCannotWriteIsNotThePicturesFault) {
    const ReaderReplacement reader("exit 12");
    EXPECT_EQ(decodeToTiff(large, tiff).failure, DecodeFailure::workingFolder);
}

TEST_F(ReaderProcessTest, AReaderThatPrintsWithoutEndDoesNotFillTheLog) {
    const ReaderReplacement reader("yes 'a line' | head -c 10000000; exit 10");
    const LogRecorder log;
    EXPECT_EQ(decodeToTiff(large, tiff).failure, DecodeFailure::unreadable);
    EXPECT_EQ(log.count("a line"), 100);
}

TEST_F(ReaderProcessTest, GetsNoDescriptorOfTheProgramAndAnEmptyInput) {
    const int leaked = open(large.c_str(), O_RDONLY);  // as a library might leave one open
    ASSERT_GE(leaked, 0);
    const ReaderReplacement reader("ls /proc/self/fd; cat; exit 10");
    const LogRecorder log;
    EXPECT_EQ(decodeToTiff(large, tiff).failure, DecodeFailure::unreadable);
    EXPECT_THAT(log.lines(), testing::ElementsAre("0", "1", "2", "3")) << "the last is ls's own";
    close(leaked);
}

TEST_F(ReaderProcessTest, MetadataOfAFileThatHarmsTheReaderCountAsNone) {
    const fs::path source = photograph();
    ASSERT_NE(readMetadata(source), nullptr);
    ASSERT_NE(focalLengthIn35mm(source), std::nullopt);
    for (const std::string script :
         {"kill -SEGV $$", "echo words > \"$3\"", "exit 0", "exit 13", "exit 10",
          "printf 'metadata 5 5 5\\nshort' > \"$3\"", "head -c 1000000 /dev/zero > \"$3\""}) {
        const ReaderReplacement reader(script);
        EXPECT_EQ(readMetadata(source), nullptr) << script;
        EXPECT_EQ(focalLengthIn35mm(source), std::nullopt) << script;
        expectNothingLeft();
    }
    const ReaderReplacement reader("kill -SEGV $$");
    const LogRecorder log;
    EXPECT_EQ(readMetadata(source), nullptr);
    EXPECT_THAT(log.lines(),
                Contains(source.native() + ": the reader crashed: Segmentation fault"));
}

TEST_F(ReaderProcessTest, ASourceWithoutMetadataIsNoFailure) {
    const fs::path source = folder / "plain.jpg";
    makeSource(source, {});
    const LogRecorder log;
    EXPECT_EQ(readMetadata(source), nullptr);
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

// The metadata library's parser of XMP takes time with the square of the number of properties.
TEST_F(ReaderProcessTest, SixtyThousandPropertiesTakeTooLong) {
    const fs::path source = folder / "source.png";
    makeSource(source, {"-IFD0:Artist=A", "-XMP-dc:Title=Title"});
    std::string packet =
        "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF "
        "xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description rdf:about='' "
        "xmlns:dc='http://purl.org/dc/elements/1.1/'>";
    for (int i = 0; i < 60000; ++i)
        packet += "<dc:P" + std::to_string(i) + ">v</dc:P" + std::to_string(i) + ">";
    packet += "</rdf:Description></rdf:RDF></x:xmpmeta>";
    const fs::path file =
        folder.write("hostile.png",
                     pngWithChunk("iTXt", std::string("XML:com.adobe.xmp\0\0\0\0\0", 22) + packet));
    const LogRecorder log;
    EXPECT_EQ(readMetadata(file), nullptr);
    EXPECT_THAT(log.lines(), Contains(file.native() + ": reading it took more than 5 s"));
    expectNothingLeft();
}

TEST_F(ReaderProcessTest, RefusesWhatIsNoJob) {
    EXPECT_EQ(runReader("nonsense", large).result, ReaderResult::refused);
    EXPECT_EQ(runReader(reader_jobs::decode, large).result, ReaderResult::refused) << "no target";
    EXPECT_EQ(runReader(reader_jobs::decode, large, {"a", "b"}).result, ReaderResult::refused);
}

}  // namespace lumaweave
