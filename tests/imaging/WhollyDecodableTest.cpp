// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <tiffio.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>

#include "ImagingSupport.h"
#include "imaging/decoding/ImageDecoder.h"
#include "imaging/formats/VipsLibrary.h"
#include "imaging/picture/PixelData.h"
#include "platform/WorkingFolder.h"
#include "support/FileSizeLimit.h"
#include "support/LogRecorder.h"
#include "support/Pictures.h"
#include "support/PrivateMemory.h"
#include "support/TestFolder.h"

// Whether a result of the fusion tool is complete: every compression that the tool writes.

namespace lumaweave {

namespace fs = std::filesystem;
using test::asymmetricPicture;
using test::LogRecorder;
using test::readFile;
using test::TestFolder;
using test::vipsImage;
using vips::VImage;

namespace {

struct Compression {
    const char* name;
    VipsForeignTiffCompression kind;
};

class WhollyDecodableTest : public testing::TestWithParam<Compression> {
  protected:
    [[nodiscard]] fs::path saved(const Image& picture) const {
        fs::path file = folder / "result.tif";
        vipsImage(picture).tiffsave(file.c_str(),
                                    VImage::option()->set("compression", GetParam().kind));
        return file;
    }

    TestFolder folder;
};

INSTANTIATE_TEST_SUITE_P(
    Compressions, WhollyDecodableTest,
    testing::Values(Compression{"none", VIPS_FOREIGN_TIFF_COMPRESSION_NONE},
                    Compression{"lzw", VIPS_FOREIGN_TIFF_COMPRESSION_LZW},
                    Compression{"deflate", VIPS_FOREIGN_TIFF_COMPRESSION_DEFLATE},
                    Compression{"packbits", VIPS_FOREIGN_TIFF_COMPRESSION_PACKBITS},
                    Compression{"jpeg", VIPS_FOREIGN_TIFF_COMPRESSION_JPEG}),
    [](const auto& tested) { return tested.param.name; });

}  // namespace

TEST_P(WhollyDecodableTest, AWholeFileIs) {
    const LogRecorder log;
    EXPECT_TRUE(isWhollyDecodable(saved(asymmetricPicture(300, 200))));
    EXPECT_TRUE(log.lines().empty());
}

TEST_P(WhollyDecodableTest, AFileThatEndsTooEarlyIsNot) {
    const std::string whole = readFile(saved(asymmetricPicture(300, 200)));
    for (const double part : {0.0, 0.1, 0.5, 0.9}) {
        const auto length = static_cast<std::size_t>(part * static_cast<double>(whole.size()));
        const LogRecorder log;
        EXPECT_FALSE(isWhollyDecodable(folder.write("half.tif", whole.substr(0, length)))) << part;
        EXPECT_FALSE(log.lines().empty());
    }
}

class WhollyDecodableFileTest : public testing::Test {
  protected:
    static constexpr int width = 300;
    static constexpr int height = 200;

    static std::string greyTiffWithItsDirectoryFirst() {
        constexpr int entries = 8;
        constexpr std::uint32_t pixels = 8 + 2 + 12 * entries + 4;
        std::string bytes("II*\0\x08\0\0\0", 8);
        const auto put = [&bytes](std::uint32_t value, int size) {
            for (int i = 0; i < size; ++i)
                bytes += static_cast<char>(value >> (8 * i));
        };
        put(entries, 2);
        const std::pair<std::uint32_t, std::uint32_t> tags[entries] = {
            {TIFFTAG_IMAGEWIDTH, width},
            {TIFFTAG_IMAGELENGTH, height},
            {TIFFTAG_BITSPERSAMPLE, 8},
            {TIFFTAG_COMPRESSION, COMPRESSION_NONE},
            {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK},
            {TIFFTAG_STRIPOFFSETS, pixels},
            {TIFFTAG_ROWSPERSTRIP, height},
            {TIFFTAG_STRIPBYTECOUNTS, width * height}};
        for (const auto& [tag, value] : tags) {
            put(tag, 2);
            put(TIFF_LONG, 2);
            put(1, 4);
            put(value, 4);
        }
        put(0, 4);
        return bytes + std::string(std::size_t{width} * height, 'x');
    }

    TestFolder folder;
};

TEST_F(WhollyDecodableFileTest, AGoodHeaderIsNotEnough) {
    test::saveImage(asymmetricPicture(width, height), folder / "whole.jpg");
    folder.write("whole.tif", greyTiffWithItsDirectoryFirst());
    for (const char* ending : {".tif", ".jpg"}) {
        const fs::path whole = folder / ("whole" + std::string(ending));
        EXPECT_TRUE(isWhollyDecodable(whole)) << ending;
        const std::string bytes = readFile(whole);
        const fs::path half =
            folder.write("half" + std::string(ending), bytes.substr(0, bytes.size() / 2));
        EXPECT_TRUE(isDecodable(half)) << ending;
        EXPECT_FALSE(isWhollyDecodable(half)) << ending;
    }
}

TEST_F(WhollyDecodableFileTest, WhatIsNoPictureOrNotThereIsNot) {
    EXPECT_FALSE(isWhollyDecodable(folder.write("text.tif", "no picture")));
    EXPECT_FALSE(isWhollyDecodable(folder / "nowhere.tif"));
    EXPECT_FALSE(isWhollyDecodable(folder.path()));
    EXPECT_FALSE(isWhollyDecodable({}));
}

TEST_F(WhollyDecodableFileTest, NeitherMemoryNorDiskIsNeeded) {
    const Image large = asymmetricPicture(6000, 4000);
    const fs::path file = folder / "large.tif";
    vipsImage(large).tiffsave(file.c_str());
    const long long before = test::privateMemory();
    const test::FileSizeLimit noDisk(0);
    EXPECT_TRUE(isWhollyDecodable(file));
    constexpr long long fewMegabytes = 16'000'000;
    EXPECT_LT(test::privateMemory() - before, fewMegabytes);
}

TEST_F(WhollyDecodableFileTest, ATurnedPictureIsReadAsItLies) {
    test::writeTiffAs(asymmetricPicture(40, 30), folder / "sideways.tif", {.orientation = 6});
    const test::FileSizeLimit noDisk(0);
    EXPECT_TRUE(isWhollyDecodable(folder / "sideways.tif"));
}

}  // namespace lumaweave
