// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <tiffio.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "ImagingSupport.h"
#include "imaging/decoding/ImageDecoder.h"
#include "imaging/formats/VipsLibrary.h"
#include "platform/WorkingFolder.h"
#include "support/FileSizeLimit.h"
#include "support/FormatFixtures.h"
#include "support/LogRecorder.h"
#include "support/PrivateMemory.h"
#include "support/TestFolder.h"

// The decoder refuses what is no whole photograph, and leaves nothing behind.

namespace lumaweave {

namespace fs = std::filesystem;
using test::asymmetricPicture;
using test::FileSizeLimit;
using test::LogRecorder;
using test::privateMemory;
using test::readFile;
using test::TestFolder;
using test::vipsImage;
using vips::VImage;

namespace {

class DecoderRefusalsTest : public testing::Test {
  protected:
    // The header may be that of a picture where only the pixels are missing or damaged.
    void expectUnreadable(const fs::path& path, bool headerIsFine = false) const {
        const LogRecorder log;
        const DecodedFile decoded = decodeToTiff(path, tiff);
        EXPECT_EQ(decoded.failure, DecodeFailure::unreadable) << path;
        EXPECT_TRUE(decoded.image.isNull()) << path;
        EXPECT_FALSE(fs::exists(tiff)) << path;
        EXPECT_FALSE(log.lines().empty()) << path;
        EXPECT_TRUE(decodeImage(path).isNull()) << path;
        EXPECT_FALSE(isWhollyDecodable(path)) << path;
        EXPECT_TRUE(headerIsFine || !isDecodable(path)) << path;
        EXPECT_EQ(entriesInWorkingFolder(), 1) << path;
    }
    // The lock alone, when nothing was left behind.
    static std::ptrdiff_t entriesInWorkingFolder() {
        return std::distance(fs::directory_iterator(workingFolder()), fs::directory_iterator());
    }
    void expectUnreadableContent(const std::string& name, const std::string& content,
                                 bool headerIsFine = false) const {
        expectUnreadable(folder.write(name, content), headerIsFine);
    }
    void expectWorkingFolderFailure(const fs::path& path, const fs::path& tiffPath) const {
        const LogRecorder log;
        const DecodedFile decoded = decodeToTiff(path, tiffPath);
        EXPECT_EQ(decoded.failure, DecodeFailure::workingFolder);
        EXPECT_TRUE(decoded.image.isNull());
        EXPECT_FALSE(fs::exists(tiffPath));
        EXPECT_FALSE(log.lines().empty());
    }

    TestFolder folder;
    const fs::path tiff = folder / "decoded.tif";
};

enum class Kind { jpeg, png, tiff, webp };

std::string encoded(Kind kind, const Image& picture) {
    const TestFolder folder;
    const fs::path file = folder / "shot";
    const VImage image = vipsImage(picture);
    switch (kind) {
        case Kind::jpeg:
            image.jpegsave(file.c_str());
            break;
        case Kind::png:
            image.pngsave(file.c_str());
            break;
        case Kind::tiff:
            image.tiffsave(file.c_str());
            break;
        case Kind::webp:
            image.webpsave(file.c_str());
            break;
    }
    return readFile(file);
}

void putBigEndian(std::string& bytes, std::size_t at, std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i) {
        bytes.at(at + static_cast<std::size_t>(i)) =
            static_cast<char>(value >> (8 * (size - 1 - i)));
    }
}

std::uint32_t checksum(std::string_view bytes) {
    std::uint32_t crc = 0xFFFFFFFFU;
    for (const char c : bytes) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
    }
    return ~crc;
}

// Files whose headers speak of another size than their pixels have.
std::string pngThatDeclares(std::uint32_t width, std::uint32_t height) {
    std::string bytes = encoded(Kind::png, asymmetricPicture(8, 8));
    putBigEndian(bytes, 16, width, 4);
    putBigEndian(bytes, 20, height, 4);
    putBigEndian(bytes, 29, checksum(std::string_view(bytes).substr(12, 17)), 4);
    return bytes;
}

std::string jpegThatDeclares(std::uint32_t width, std::uint32_t height) {
    std::string bytes = encoded(Kind::jpeg, asymmetricPicture(8, 8));
    const std::size_t frame = bytes.find("\xFF\xC0");
    putBigEndian(bytes, frame + 5, height, 2);
    putBigEndian(bytes, frame + 7, width, 2);
    return bytes;
}

}  // namespace

TEST_F(DecoderRefusalsTest, AnEmptyFile) {
    expectUnreadableContent("empty.jpg", "");
}

TEST_F(DecoderRefusalsTest, TextOfAnyName) {
    expectUnreadableContent("text.jpg", "This is not a picture.\n");
    expectUnreadableContent("table.csv", "1,2,3\n4,5,6\n");
    expectUnreadableContent("table.jpg", "1,2,3\n4,5,6\n");
    expectUnreadableContent("matrix.mat", "3 2\n1 2 3\n4 5 6\n");
}

TEST_F(DecoderRefusalsTest, DrawingsAndDocuments) {
    const std::string drawing =
        "<?xml version=\"1.0\"?><svg xmlns=\"http://www.w3.org/2000/svg\" width=\"40\" "
        "height=\"30\"><rect width=\"40\" height=\"30\" fill=\"red\"/></svg>\n";
    expectUnreadableContent("drawing.svg", drawing);
    expectUnreadableContent("drawing.png", drawing);
    expectUnreadableContent("document.pdf", "%PDF-1.4\n1 0 obj\n<< /Type /Catalog >>\nendobj\n");
    expectUnreadableContent("page.ps", "%!PS-Adobe-3.0\nshowpage\n");
}

TEST_F(DecoderRefusalsTest, PicturesThatAreNoPhotographs) {
    const std::string head("GIF89a\1\0\1\0\x80\0\0\0\0\0\xFF\xFF\xFF", 19);
    const std::string frame(",\0\0\0\0\1\0\1\0\0\2\2D\1\0", 15);
    expectUnreadableContent("moving.gif", head + frame + frame + ";");
    expectUnreadableContent("moving.jpg", head + frame + frame + ";");
    EXPECT_FALSE(decodeImage(folder.write("still.gif", head + frame + ";")).isNull());
    vipsImage(asymmetricPicture(8, 8)).write_to_file((folder / "own.v").c_str());
    expectUnreadable(folder / "own.v");
}

TEST_F(DecoderRefusalsTest, MoviesSoundsAndArchives) {
    const std::string rest(2000, 'x');
    expectUnreadableContent("clip.mp4", std::string("\0\0\0\x18"
                                                    "ftypmp42\0\0\0\0mp42isom",
                                                    24) +
                                            rest);
    expectUnreadableContent("clip.mov", std::string("\0\0\0\x14"
                                                    "ftypqt  \0\0\2\0qt  ",
                                                    20) +
                                            rest);
    expectUnreadableContent("clip.jpg", std::string("\0\0\0\x18"
                                                    "ftypisom\0\0\2\0isomavc1",
                                                    24) +
                                            rest);
    expectUnreadableContent("clip.avi", std::string("RIFF\xF0\7\0\0AVI LIST", 16) + rest);
    expectUnreadableContent("clip.mkv", std::string("\x1A\x45\xDF\xA3", 4) + rest);
    expectUnreadableContent("sound.wav", std::string("RIFF\xF0\7\0\0WAVEfmt ", 16) + rest);
    expectUnreadableContent("archive.zip", std::string("PK\3\4", 4) + rest);
    expectUnreadableContent("layers.psd", std::string("8BPS\0\1", 6) + rest);
    expectUnreadableContent("page.html", "<!DOCTYPE html><html></html>");
    expectUnreadableContent("letter.txt", "BMW is not a bitmap, and P3 is no map either.\n");
}

TEST_F(DecoderRefusalsTest, NewerFormatsThatAreTruncatedOrDamaged) {
    const Image deep = asymmetricPicture(120, 90, {3, false, SampleType::uint16});
    const Image light = asymmetricPicture(120, 90, {3, false, SampleType::float32});
    const fs::path file = folder / "whole";
    const std::vector<std::pair<const char*, std::function<void()>>> writers = {
        {"HEIC", [&] { test::writeHeif(deep, file, {.bits = 12}); }},
        {"AVIF", [&] { test::writeHeif(deep, file, {.av1 = true, .bits = 12}); }},
        {"JPEG 2000", [&] { test::writeJpeg2000(deep, file, {.bits = 16}); }},
        {"JPEG XL", [&] { test::writeJxl(deep, file); }},
        {"OpenEXR", [&] { test::writeExr(light, file, {}); }},
        {"OpenEXR in tiles", [&] { test::writeExr(light, file, {.tiled = true}); }},
        {"Radiance", [&] { test::writeRadiance(light, file); }}};
    for (const auto& [name, write] : writers) {
        SCOPED_TRACE(name);
        write();
        ASSERT_FALSE(decodeImage(file).isNull());
        const std::string whole = readFile(file);
        for (const std::size_t percent : {1U, 10U, 30U, 60U, 95U}) {
            expectUnreadableContent("truncated", whole.substr(0, whole.size() * percent / 100),
                                    true);
        }
    }
}

TEST_F(DecoderRefusalsTest, APictureWithAVeryLongSide) {
    startVips();
    const fs::path file = folder / "long.png";
    vips::VImage::black(longestSide + 1, 1).pngsave(file.c_str());
    expectUnreadable(file);
    vips::VImage::black(longestSide, 1).pngsave(file.c_str());
    EXPECT_EQ(decodeImage(file).pixelsWide(), longestSide);
}

TEST_F(DecoderRefusalsTest, RandomBytes) {
    std::mt19937 random(1);
    for (int i = 0; i < 20; ++i) {
        std::string bytes;
        while (bytes.size() < 5000)
            bytes += static_cast<char>(random() & 0xFF);
        expectUnreadableContent("random.jpg", bytes);
        // With the first bytes of a picture.
        for (const Kind kind : {Kind::jpeg, Kind::png, Kind::tiff, Kind::webp}) {
            const std::string head = encoded(kind, asymmetricPicture(8, 8)).substr(0, 12);
            expectUnreadableContent("random", head + bytes);
        }
    }
}

TEST_F(DecoderRefusalsTest, TruncatedPictures) {
    const Image picture = asymmetricPicture(300, 200);
    for (const Kind kind : {Kind::jpeg, Kind::png, Kind::tiff, Kind::webp}) {
        const std::string whole = encoded(kind, picture);
        const fs::path file = folder.write("whole", whole);
        ASSERT_FALSE(decodeImage(file).isNull());
        for (const std::size_t percent : {1U, 30U, 60U, 95U}) {
            expectUnreadableContent("truncated", whole.substr(0, whole.size() * percent / 100),
                                    true);
        }
    }
}

TEST_F(DecoderRefusalsTest, ATruncatedPictureThatIsNotUpright) {
    const fs::path file = folder / "sideways.tif";
    // A shorter file would lose its directory, which comes last: it claims more pixels instead.
    test::writeTiffAs(asymmetricPicture(300, 200), file, {.orientation = 6});
    test::changeTag(file, TIFFTAG_IMAGELENGTH, 5000);
    expectUnreadable(file, true);
}

TEST_F(DecoderRefusalsTest, ADamagedPng) {
    std::string bytes = encoded(Kind::png, asymmetricPicture(300, 200));
    for (std::size_t i = bytes.size() / 2; i < bytes.size() / 2 + 20; ++i)
        bytes[i] = static_cast<char>(~bytes[i]);
    expectUnreadableContent("damaged.png", bytes, true);
}

TEST_F(DecoderRefusalsTest, ButNotAJpegWithStrayOrDamagedBytesInItsScan) {
    const std::string whole = encoded(Kind::jpeg, asymmetricPicture(300, 200));
    std::string stray = whole;
    stray.insert(stray.size() - 2, "stray");
    const Image picture = decodeImage(folder.write("whole.jpg", whole));
    const Image withStray = decodeImage(folder.write("stray.jpg", stray));
    EXPECT_EQ(test::differenceBetween(picture, withStray).largest, 0);
    std::string damaged = whole;
    for (std::size_t i = damaged.size() / 2; i < damaged.size() / 2 + 200; ++i)
        damaged[i] = static_cast<char>(i * 37 % 251);
    const Image asFarAsItGoes = decodeImage(folder.write("damaged.jpg", damaged));
    EXPECT_EQ(asFarAsItGoes.pixelsWide(), 300);
    EXPECT_EQ(asFarAsItGoes.pixelsHigh(), 200);
    // What comes before the damage is whole.
    const auto top = [](const Image& image) { return image.cropped({0, 0, 300, 80}, 300, 80); };
    EXPECT_EQ(test::differenceBetween(top(picture), top(asFarAsItGoes)).largest, 0);
}

TEST_F(DecoderRefusalsTest, HeadersThatDeclareFarTooManyPixelsTakeNoMemory) {
    (void)isDecodable(folder.write("small", encoded(Kind::jpeg, asymmetricPicture(8, 8))));
    const fs::path tiffFile = folder / "huge.tif";
    test::writeTiffAs(asymmetricPicture(8, 8), tiffFile, {});
    test::changeTag(tiffFile, TIFFTAG_IMAGEWIDTH, 60000);
    test::changeTag(tiffFile, TIFFTAG_IMAGELENGTH, 60000);
    const fs::path jpeg = folder.write("huge.jpg", jpegThatDeclares(60000, 60000));
    const fs::path png = folder.write("huge.png", pngThatDeclares(60000, 60000));
    const long long before = privateMemory();
    for (const fs::path& path : {jpeg, png, tiffFile})
        expectUnreadable(path);
    EXPECT_LT(privateMemory() - before, 50'000'000);
}

TEST_F(DecoderRefusalsTest, MoreThanTheLargestPixelCount) {
    static_assert(largestPixelCount == 32768LL * 16384);
    EXPECT_TRUE(isDecodable(folder.write("largest.png", pngThatDeclares(32768, 16384))));
    EXPECT_FALSE(isDecodable(folder.write("larger.png", pngThatDeclares(32768, 16385))));
    EXPECT_TRUE(isDecodable(folder.write("largest.jpg", jpegThatDeclares(16384, 32768))));
    EXPECT_FALSE(isDecodable(folder.write("larger.jpg", jpegThatDeclares(16385, 32768))));
}

TEST_F(DecoderRefusalsTest, WhatIsNoRegularFile) {
    expectUnreadable(folder.path());
    expectUnreadable("/dev/zero");
    expectUnreadable("/dev/null");
    ASSERT_EQ(mkfifo((folder / "pipe.jpg").c_str(), 0600), 0);
    expectUnreadable(folder / "pipe.jpg");
    const int pipeEnd = open((folder / "pipe.jpg").c_str(), O_RDWR | O_CLOEXEC);
    expectUnreadable(folder / "pipe.jpg");
    close(pipeEnd);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, (folder / "socket.jpg").c_str(), sizeof address.sun_path - 1);
    const int socketEnd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(socketEnd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    expectUnreadable(folder / "socket.jpg");
    close(socketEnd);
}

TEST_F(DecoderRefusalsTest, WhatIsNotThere) {
    expectUnreadable(folder / "missing.jpg");
    expectUnreadable(folder / "missing/shot.jpg");
    expectUnreadable("");
    fs::create_symlink(folder / "missing.jpg", folder / "dangling.jpg");
    expectUnreadable(folder / "dangling.jpg");
    fs::create_symlink(folder / "loop.jpg", folder / "loop.jpg");
    expectUnreadable(folder / "loop.jpg");
}

TEST_F(DecoderRefusalsTest, WhatMayNotBeRead) {
    // For the superuser every file is readable: try as somebody else, where that can be done.
    std::string place = "/var/tmp/test-XXXXXX";
    ASSERT_NE(mkdtemp(place.data()), nullptr);
    const fs::path shared = place;
    fs::permissions(shared, fs::perms::all);
    const std::string bytes = encoded(Kind::jpeg, asymmetricPicture(8, 8));
    fs::copy_file(folder.write("shot.jpg", bytes), shared / "open.jpg");
    fs::copy_file(folder / "shot.jpg", shared / "closed.jpg");
    fs::permissions(shared / "open.jpg", fs::perms::all);
    fs::permissions(shared / "closed.jpg", fs::perms::none);
    const uid_t user = geteuid();
    constexpr uid_t somebodyElse = 65534;
    ASSERT_TRUE(user != 0 || seteuid(somebodyElse) == 0);
    EXPECT_FALSE(decodeImage(shared / "open.jpg").isNull());
    EXPECT_TRUE(decodeImage(shared / "closed.jpg").isNull());
    EXPECT_FALSE(isDecodable(shared / "closed.jpg"));
    EXPECT_EQ(decodeToTiff(shared / "closed.jpg", shared / "decoded.tif").failure,
              DecodeFailure::unreadable);
    EXPECT_FALSE(fs::exists(shared / "decoded.tif"));
    EXPECT_EQ(seteuid(user), 0);
    fs::remove_all(shared);
}

TEST_F(DecoderRefusalsTest, AWorkingFolderThatIsNotThereIsNotThePicturesFault) {
    const fs::path file = folder.write("shot.png", encoded(Kind::png, asymmetricPicture(8, 8)));
    expectWorkingFolderFailure(file, folder / "missing/decoded.tif");
}

TEST_F(DecoderRefusalsTest, AWorkingFolderWithoutRoomIsNotThePicturesFault) {
    const Image picture = asymmetricPicture(1000, 1000);
    const fs::path png = folder.write("shot.png", encoded(Kind::png, picture));
    test::writeTiffAs(picture, folder / "sideways.tif", {.orientation = 6});
    for (const unsigned long limit : {0UL, 8UL, 1'000'000UL, 3'000'008UL}) {
        const FileSizeLimit full(limit);
        expectWorkingFolderFailure(png, tiff);
        expectWorkingFolderFailure(folder / "sideways.tif", tiff);
    }
    EXPECT_FALSE(decodeToTiff(png, tiff).image.isNull());
}

TEST_F(DecoderRefusalsTest, LookingAtAPictureFailsCleanlyWithoutAWorkingFolder) {
    test::writeTiffAs(asymmetricPicture(40, 30), folder / "sideways.tif", {.orientation = 6});
    EXPECT_FALSE(decodeImage(folder / "sideways.tif").isNull());
    fs::rename(workingFolder(), folder / "away");
    EXPECT_TRUE(decodeImage(folder / "sideways.tif").isNull());
    fs::rename(folder / "away", workingFolder());
}

}  // namespace lumaweave
