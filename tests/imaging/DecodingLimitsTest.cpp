// SPDX-License-Identifier: GPL-3.0-or-later

// Files that take far more time or memory than they have bytes.

#include <gmock/gmock.h>

#include <chrono>
#include <fstream>
#include <stdexcept>

#include "imaging/ImagingSupport.h"
#include "imaging/decoding/ImageDecoder.h"
#include "imaging/formats/TimedSource.h"
#include "imaging/formats/WorkLimit.h"
#include "imaging/reader/ReaderJobs.h"
#include "platform/FileDescriptor.h"
#include "support/HostileFiles.h"
#include "support/LogRecorder.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using namespace std::chrono_literals;
using testing::Contains;
using testing::HasSubstr;
using vips::VImage;

namespace {

// The most memory that this process has had, in bytes.
long long peakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) return std::stoll(line.substr(6)) * 1024;
    }
    throw std::runtime_error("the system does not say how much memory was used");
}

}  // namespace

class DecodingLimitsTest : public testing::Test {
  protected:
    TestFolder folder;
    const fs::path tiff = folder / "decoded.tif";
};

TEST_F(DecodingLimitsTest, ThousandsOfScansAreGivenUp) {
    const fs::path small = folder.write("small.jpg", jpegOfManyScans(80, 60));
    EXPECT_FALSE(decodeImage(small).isNull());
    const fs::path many = folder.write("many.jpg", jpegOfManyScans(6600, 6600));
    ASSERT_LT(fs::file_size(many), 1'000'000U);
    const LogRecorder log;
    const DecodedFile decoded = decodeToTiff(many, tiff);
    EXPECT_EQ(decoded.failure, DecodeFailure::unreadable);
    EXPECT_FALSE(fs::exists(tiff));
    EXPECT_THAT(log.lines(), Contains(HasSubstr("it takes more than 1")));
}

TEST_F(DecodingLimitsTest, ASourceFailsWhenItsTimeIsOver) {
    const fs::path file = folder.write("many.jpg", jpegOfManyScans(800, 600));
    const auto decodedWithin = [&file](std::chrono::nanoseconds time) {
        const VImage image = VImage::new_from_source(
            timedSource(FileDescriptor::ofRegularFile(file), time), "",
            VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL)->set("fail_on", "error"));
        return image.avg();
    };
    EXPECT_THROW((void)decodedWithin(1ms), vips::VError);
    vips_error_clear();
    EXPECT_NEAR(decodedWithin(1h), 128, 1);
}

TEST_F(DecodingLimitsTest, WhatAThreadMayWorkIsCountedFromTheStart) {
    const WorkLimit hour(std::chrono::hours(1));
    const WorkLimit moment(std::chrono::milliseconds(20));
    EXPECT_FALSE(hour.isOver());
    volatile unsigned long work = 0;
    while (!moment.isOver())
        work = work + 1;
    EXPECT_GT(work, 0UL);
    EXPECT_FALSE(hour.isOver());
}

TEST_F(DecodingLimitsTest, LargerFilesHaveMoreTime) {
    EXPECT_EQ(decodingTime(0), 10s);
    EXPECT_EQ(decodingTime(50'000'000), 210s);
    EXPECT_EQ(decodingTime(~std::uint64_t{0}), 610s);
}

// A gigabyte in a megabyte: nobody unpacks profile or text to its end.
TEST_F(DecodingLimitsTest, CompressedProfilesAndTextsOfAGigabyteTakeNoMemory) {
    const std::string zeros = compressedZeros(std::size_t{1} << 30);
    const std::string chunks[][2] = {
        {"iCCP", std::string("profile\0\0", 9) + zeros},
        {"zTXt", std::string("Comment\0\0", 9) + zeros},
        {"iTXt", std::string("Comment\0\1\0\0\0", 12) + zeros},
        {"iTXt", std::string("XML:com.adobe.xmp\0\1\0\0\0", 22) + zeros}};
    for (const auto& [name, data] : chunks) {
        const fs::path file = folder.write("bomb.png", pngWithChunk(name, data));
        std::ofstream("/proc/self/clear_refs") << "5";  // the peak is counted from here
        const long long before = peakMemory();
        static_cast<void>(decodeImage(file));
        static_cast<void>(decodeToTiff(file, tiff));
        EXPECT_LT(peakMemory() - before, 300'000'000) << name;
    }
}

// Sixty thousand, one behind the other; the same in a ring; and one that is its own next one.
TEST_F(DecodingLimitsTest, TiffsOfEndlessDirectories) {
    const auto directory = [](std::uint32_t next) {
        std::string bytes("\1\0\0\1\3\0\1\0\0\0\1\0\0\0", 14);
        for (int i = 0; i < 4; ++i)
            bytes += static_cast<char>(next >> (8 * i) & 0xFFU);
        return bytes;
    };
    std::string chain("II*\0\x08\0\0\0", 8);
    for (std::uint32_t i = 1; i <= 60000; ++i)
        chain += directory(8 + i * 18);
    for (const std::string& bytes : {chain + directory(0), chain + directory(8),
                                     std::string("II*\0\x08\0\0\0", 8) + directory(8)}) {
        const LogRecorder log;
        EXPECT_EQ(decodeToTiff(folder.write("endless.tif", bytes), tiff).failure,
                  DecodeFailure::unreadable);
        EXPECT_FALSE(log.lines().empty());
    }
}

// A row for which libtiff has something to say, 20000 times.
TEST_F(DecodingLimitsTest, WarningsForEveryRowAreNotPrinted) {
    const fs::path file = fs::path(LUMAWEAVE_SOURCE_FOLDER) / "fuzz/finds/message-for-each-row.tif";
    testing::internal::CaptureStderr();
    static_cast<void>(decodeToTiff(file, tiff));
    EXPECT_LT(testing::internal::GetCapturedStderr().size(), 10'000U);
}

}  // namespace lumaweave
