// SPDX-License-Identifier: GPL-3.0-or-later

// Whoever fails says why, in words that an alert could show; through the reader, too.

#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "imaging/ImagingSupport.h"
#include "imaging/decoding/DecoderHere.h"
#include "imaging/decoding/ImageDecoder.h"
#include "imaging/formats/VipsLibrary.h"
#include "imaging/metadata/Metadata.h"
#include "imaging/metadata/MetadataWriter.h"
#include "imaging/reader/ReaderJobs.h"
#include "imaging/reader/ReaderProcess.h"
#include "imaging/tiff/Conversion.h"
#include "imaging/tiff/TiffWriter.h"
#include "platform/WorkingFolder.h"
#include "support/FileSizeLimit.h"
#include "support/FormatFixtures.h"
#include "support/HostileFiles.h"
#include "support/LogRecorder.h"
#include "support/Pictures.h"
#include "support/ReaderReplacement.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class FailureReasonsTest : public testing::Test {
  protected:
    FailureReasonsTest() { createWorkingFolder(); }
    ~FailureReasonsTest() override { removeWorkingFolder(); }

    // Every way to decode the file fails for this reason, and the log has it.
    void expectReason(const fs::path& file, const std::string& reason) const {
        const LogRecorder log;
        const DecodedFile decoded = decodeToTiff(file, tiff);
        EXPECT_EQ(decoded.failure, DecodeFailure::unreadable);
        EXPECT_THAT(decoded.reason, HasSubstr(reason));
        EXPECT_THAT(decoded.reason, Not(HasSubstr(file.native()))) << "its name is known";
        EXPECT_THAT(decoded.reason, Not(testing::EndsWith("\n")));
        EXPECT_THAT(isWhollyDecodable(file).reason(), HasSubstr(reason));
        EXPECT_FALSE(log.lines().empty());
    }
    // A header that is fine is told from one that is not.
    void expectReasonOfHeader(const fs::path& file, const std::string& reason) const {
        expectReason(file, reason);
        const Outcome outcome = isDecodable(file);
        EXPECT_FALSE(outcome);
        EXPECT_THAT(outcome.reason(), HasSubstr(reason));
    }
    [[nodiscard]] fs::path half(const fs::path& whole) const {
        const std::string bytes = readFile(whole);
        return folder.write("half", bytes.substr(0, bytes.size() / 2));
    }
    [[nodiscard]] fs::path wholePng() const {
        vipsImage(asymmetricPicture(300, 200)).pngsave((folder / "whole.png").c_str());
        return folder / "whole.png";
    }

    TestFolder folder;
    const fs::path tiff = folder / "decoded.tif";
    // What only the reader decodes.
    const fs::path large = folder.write("large.png", interlacedPngThatClaims(8000, 8000));
};

}  // namespace

TEST_F(FailureReasonsTest, WhatWentWellHasNone) {
    const fs::path file = wholePng();
    EXPECT_THAT(decodeToTiff(file, tiff).reason, IsEmpty());
    for (const Outcome& outcome : {isDecodable(file), isWhollyDecodable(file)}) {
        EXPECT_TRUE(outcome);
        EXPECT_THAT(outcome.reason(), IsEmpty());
    }
}

TEST_F(FailureReasonsTest, WhatIsNoPhotograph) {
    expectReasonOfHeader(folder.write("text.jpg", "words\n"), "it is not a photograph");
    expectReasonOfHeader(folder.path(), "it is not a readable file");
    expectReasonOfHeader(folder / "missing.jpg", "it is not a readable file");
}

TEST_F(FailureReasonsTest, ATruncatedFile) {
    expectReason(half(wholePng()), "vipspng: libpng read error");
    vipsImage(asymmetricPicture(300, 200)).jpegsave((folder / "whole.jpg").c_str());
    const fs::path jpeg = half(folder / "whole.jpg");
    expectReason(jpeg, "VipsJpeg: Premature end of input file");
    EXPECT_TRUE(isDecodable(jpeg)) << "the header is well";
}

TEST_F(FailureReasonsTest, TooManyPixels) {
    startVips();
    vips::VImage::black(longestSide + 1, 1).pngsave((folder / "long.png").c_str());
    expectReasonOfHeader(folder / "long.png", "it has too many pixels");
}

TEST_F(FailureReasonsTest, NoRoomForThePixels) {
    const fs::path file = wholePng();
    const FileSizeLimit full(1000);
    const DecodedFile decoded = decodeToTiff(file, tiff);
    EXPECT_EQ(decoded.failure, DecodeFailure::workingFolder);
    EXPECT_EQ(decoded.reason, "File too large");
    EXPECT_EQ(decodeToTiff(file, folder / "missing/decoded.tif").reason,
              "there is no room for its pixels");
}

// The reader's words arrive as the decoder has said them in it.
TEST_F(FailureReasonsTest, WhatTheReaderRefuses) {
    writeHeif(asymmetricPicture(120, 90), folder / "whole.heic", {});
    const fs::path heif = half(folder / "whole.heic");
    expectReason(heif, "Unexpected end of file");
    EXPECT_EQ(decodeToTiff(heif, tiff).reason, decodeToTiffHere(heif, tiff).reason);
    writeExr(asymmetricPicture(40, 30, {3, false, SampleType::float32}), folder / "whole.exr", {});
    const fs::path exr = half(folder / "whole.exr");
    EXPECT_THAT(decodeToTiff(exr, tiff).reason, HasSubstr("Early end of file"));
    EXPECT_EQ(isWhollyDecodable(exr).reason(), decodeToTiffHere(exr, tiff).reason);
    expectReasonOfHeader(folder.write("raw.raf", "FUJIFILMCCD-RAW 0201"), "Input/output error");
    expectReason(large, "it cannot be read");
}

TEST_F(FailureReasonsTest, ThereIsNoRoomForTheReadersPixels) {
    writeHeif(asymmetricPicture(300, 200), folder / "whole.heic", {});
    const DecodedFile decoded = decodeToTiff(folder / "whole.heic", folder / "missing/decoded.tif");
    EXPECT_EQ(decoded.failure, DecodeFailure::workingFolder);
    EXPECT_EQ(decoded.reason, "there is no room for its pixels");
}

TEST_F(FailureReasonsTest, OfTheReadersOwnEnd) {
    const auto reasonWith = [this](const std::string& script) {
        const ReaderReplacement reader(script);
        return decodeToTiff(large, tiff).reason;
    };
    EXPECT_EQ(reasonWith("kill -SEGV $$"), "the reader crashed: Segmentation fault");
    EXPECT_EQ(reasonWith("exit 13"), "reading it takes more than 2048 MiB of memory");
    EXPECT_EQ(reasonWith("exit 99"), "the reader ended with 99");
    EXPECT_EQ(reasonWith("exit 0"), "the reader has left no whole picture");
    EXPECT_EQ(reasonWith(""), "lumaweave-reader is missing");
}

// Marked lines are the reason and not for the log. Without them the last line is the reason.
TEST_F(FailureReasonsTest, ThatTheReaderPrintsIsToldFromItsLog) {
    const auto reasonWith = [this](const std::string& script) {
        const ReaderReplacement reader(script + "; exit 10");
        return runReader(reader_jobs::decode, large, {tiff.native()}).reason;
    };
    const LogRecorder log;
    EXPECT_EQ(reasonWith("echo one; echo 'reason: it is odd'"), "it is odd");
    EXPECT_EQ(reasonWith("echo 'reason: it is'; echo odd; echo"), "it is\nodd");
    EXPECT_EQ(reasonWith("echo two; echo \"$2: spoilt\""), "spoilt");
    EXPECT_EQ(reasonWith("echo 'no reason: this'"), "no reason: this");
    EXPECT_EQ(reasonWith("true"), "");
    EXPECT_THAT(log.lines(),
                testing::ElementsAre("one", "two", large.native() + ": spoilt", "no reason: this"));
}

TEST_F(FailureReasonsTest, OfWriters) {
    const Image picture = asymmetricPicture(1000, 1000);
    const fs::path missing = folder / "missing/result.tif";
    for (const Write how : {Write::plain, Write::atomic}) {
        EXPECT_EQ(writeTiff(picture, missing, how).reason(), "No such file or directory");
        EXPECT_EQ(writeTiff({}, tiff, how).reason(), "there is no picture");
        EXPECT_EQ(writeTiff(picture, tiff, how).reason(), "");
        const FileSizeLimit full(1000);
        EXPECT_EQ(writeTiff(picture, tiff, how).reason(), "File too large");
    }
    EXPECT_EQ(writeConverted(picture, {SampleType::uint16, 3, {}}, missing).reason(),
              "No such file or directory");
}

TEST_F(FailureReasonsTest, OfTheWriterOfMetadata) {
    const Metadata metadata({"{ }", {}, {}});
    const fs::path words = folder.write("words.tif", "no TIFF");
    EXPECT_EQ(copyTiffWithMetadata(folder / "missing.tif", tiff, nullptr).reason(),
              "it is not there");
    EXPECT_EQ(copyTiffWithMetadata(words, tiff, &metadata).reason(), "it is not a whole TIFF file");
    EXPECT_EQ(copyTiffWithMetadata(words, folder / "missing/a.tif", nullptr).reason(),
              "No such file or directory");
    EXPECT_TRUE(copyTiffWithMetadata(words, tiff, nullptr));
}

}  // namespace lumaweave
