// SPDX-License-Identifier: GPL-3.0-or-later

// Metadata that is broken, hostile or enormous: the result gets the rest or nothing, and nothing
// crashes.

#include <gmock/gmock.h>

#include <random>
#include <vips/vips8>

#include "imaging/MetadataSupport.h"
#include "imaging/metadata/Metadata.h"
#include "imaging/metadata/MetadataWriter.h"
#include "platform/WorkingFolder.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"
#include "support/TiffPages.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;

class HostileMetadataTest : public testing::Test {
  protected:
    HostileMetadataTest() {
        createWorkingFolder();
        makeResult(folder / "result.tif");
        pristine = readFile(folder / "result.tif");
        pages = tiffPages(folder / "result.tif");
    }
    ~HostileMetadataTest() override { removeWorkingFolder(); }

    // Whatever the source says, the result has its pixels, or is as it was.
    void expectHarmless(const fs::path& source) {
        const auto metadata = readMetadata(source);
        if (metadata == nullptr) return;
        const fs::path result = folder.write("result.tif", pristine);
        const Outcome written = copyTiffWithMetadata(result, result, metadata.get());
        EXPECT_EQ(tiffPages(result), pages);
        EXPECT_TRUE(written || readFile(result) == pristine);
    }
    // A TIFF source of which Exiv2 or exiftool would not make one.
    std::string tiffOf(const std::string& entries, int count) const {
        std::string bytes("II*\0\x08\0\0\0", 8);
        bytes += static_cast<char>(count);
        bytes += '\0';
        return bytes + entries + std::string(4, '\0');
    }

    TestFolder folder;
    std::string pristine;
    std::vector<std::vector<std::byte>> pages;
};

TEST_F(HostileMetadataTest, TruncatedAtEveryPlace) {
    const fs::path source = folder / "source.jpg";
    makeSource(source, photographersTags());
    addMakerNote(source, "Canon", {{"Exif.Canon.OwnerName", "A. Person"}});
    const std::string whole = readFile(source);
    for (std::size_t length = 0; length < whole.size(); length += 37)
        expectHarmless(folder.write("cut.jpg", whole.substr(0, length)));
}

TEST_F(HostileMetadataTest, BytesChangedAtRandom) {
    std::mt19937 random(7);
    for (const char* name : {"source.jpg", "source.tif", "source.png", "source.webp"}) {
        const fs::path source = folder / name;
        makeSource(source, photographersTags());
        if (std::string(name) != "source.png") {
            addMakerNote(source, "NIKON CORPORATION", {{"Exif.Nikon3.Quality", "FINE"}});
        }
        const std::string whole = readFile(source);
        const std::size_t pixelsFrom = std::min<std::size_t>(whole.size(), 6000);
        for (int round = 0; round < 150; ++round) {
            std::string bytes = whole;
            for (int i = 0; i < 1 + round % 8; ++i)
                bytes[random() % pixelsFrom] = static_cast<char>(random());
            expectHarmless(folder.write(std::string("changed-") + name, bytes));
        }
    }
}

TEST_F(HostileMetadataTest, DirectoriesThatPointAtThemselves) {
    // EXIF, GPS and sub-images: each points at the main directory.
    const std::string loop = tiffOf(std::string("\x4A\x01\x04\0\x01\0\0\0\x08\0\0\0"
                                                "\x69\x87\x04\0\x01\0\0\0\x08\0\0\0"
                                                "\x25\x88\x04\0\x01\0\0\0\x08\0\0\0",
                                                36),
                                    3);
    expectHarmless(folder.write("loop.tif", loop));
}

TEST_F(HostileMetadataTest, ValuesThatClaimMoreThanTheFileHas) {
    // An artist's name of 4 GB, and one that lies far outside.
    expectHarmless(folder.write(
        "long.tif", tiffOf(std::string("\x3B\x01\x02\0\xFF\xFF\xFF\xFF\x08\0\0\0", 12), 1)));
    expectHarmless(
        folder.write("far.tif", tiffOf(std::string("\x3B\x01\x02\0\x10\0\0\0\0\0\0\x7F", 12), 1)));
}

TEST_F(HostileMetadataTest, AMakerNoteOf60MegabytesIsLeftOutAndTheRestCarried) {
    // Directory at 8: artist (offset 100), EXIF (offset 200) with a maker note behind it.
    constexpr std::uint32_t noteBytes = 60U << 20;
    const auto number = [](std::uint32_t value) {
        std::string bytes;
        for (int i = 0; i < 4; ++i)
            bytes += static_cast<char>(value >> (8 * i) & 0xFFU);
        return bytes;
    };
    std::string bytes = tiffOf(std::string("\x3B\x01\x02\0", 4) + number(9) + number(100) +
                                   std::string("\x69\x87\x04\0", 4) + number(1) + number(200),
                               2);
    bytes.resize(100);
    bytes += std::string("A. Person", 10);
    bytes.resize(200);
    bytes += std::string("\x01\0\x7C\x92\x07\0", 6) + number(noteBytes) + number(300);
    bytes.resize(300);
    bytes += std::string(noteBytes, 'm');
    const auto metadata = readMetadata(folder.write("huge.tif", bytes));
    ASSERT_NE(metadata, nullptr);
    const fs::path result = folder / "result.tif";
    ASSERT_TRUE(copyTiffWithMetadata(result, result, metadata.get()));
    EXPECT_EQ(exifToolTags(result).at("IFD0:Artist"), "A. Person");
    EXPECT_LT(fs::file_size(result), std::size_t{1} << 20);
    EXPECT_EQ(tiffPages(result), pages);
}

// Fifty values of 12 MB, all of them the same bytes of a file of 12 MB.
TEST_F(HostileMetadataTest, ValuesOnTopOfOneAnotherAreNotMultiplied) {
    const auto number = [](std::uint32_t value) {
        std::string bytes;
        for (int i = 0; i < 4; ++i)
            bytes += static_cast<char>(value >> (8 * i) & 0xFFU);
        return bytes;
    };
    constexpr std::uint32_t sharedBytes = 12U << 20;
    std::string entries;
    for (char tag = 0; tag < 50; ++tag) {
        entries +=
            std::string(1, tag) + std::string("\xA0\x07\0", 3) + number(sharedBytes) + number(1000);
    }
    std::string bytes = tiffOf(entries, 50);
    bytes.resize(1000 + sharedBytes, 'v');
    EXPECT_EQ(readMetadata(folder.write("shared.tif", bytes)), nullptr);
    // The same within what a file may claim, and still too much to be carried.
    bytes = tiffOf(entries.substr(0, 12 * 5), 5);
    bytes.resize(1000 + sharedBytes, 'v');
    expectHarmless(folder.write("five.tif", bytes));
    EXPECT_LT(fs::file_size(folder / "result.tif"), std::size_t{20} << 20);
}

// More than an editor writes. (The metadata library's own parser takes time with the square of
// their number, which bounds this one.)
TEST_F(HostileMetadataTest, ThousandsOfPropertiesAreSortedOut) {
    const fs::path source = folder / "source.png";
    makeSource(source, {"-IFD0:Artist=A", "-XMP-dc:Title=Title"});
    std::string properties;
    for (int i = 0; i < 5000; ++i)
        properties += "<crs:P" + std::to_string(i) + ">v</crs:P" + std::to_string(i) + ">";
    const std::string packet =
        "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF "
        "xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description rdf:about='' "
        "xmlns:crs='http://ns.adobe.com/camera-raw-settings/1.0/' "
        "xmlns:photoshop='http://ns.adobe.com/photoshop/1.0/'><photoshop:City>Bern</"
        "photoshop:City>" +
        properties + "</rdf:Description></rdf:RDF></x:xmpmeta>";
    const fs::path file = folder.write("packet.xmp", packet);
    ASSERT_TRUE(writeTags(source, {"-XMP<=" + file.native()}));
    const auto metadata = readMetadata(source);
    ASSERT_NE(metadata, nullptr);
    EXPECT_THAT(metadata->description(), testing::HasSubstr("Xmp.photoshop.City = Bern"));
    EXPECT_THAT(metadata->description(), testing::Not(testing::HasSubstr("Xmp.crs")));
}

TEST_F(HostileMetadataTest, TruncatedHeicFiles) {
    const fs::path source = folder / "source.heic";
    vipsImage(makeImage(64, 48, {}, sceneAt(1))).heifsave(source.c_str());
    ASSERT_TRUE(writeTags(source, {"-IFD0:Make=Maker", "-XMP-dc:Title=Title"}));
    const std::string whole = readFile(source);
    for (std::size_t length = 0; length < whole.size(); length += 41)
        expectHarmless(folder.write("cut.heic", whole.substr(0, length)));
}

TEST_F(HostileMetadataTest, AnXmpPacketThatIsNoXml) {
    const fs::path source = folder / "source.png";
    makeSource(source, {"-IFD0:Artist=A", "-XMP-dc:Title=Title"});
    std::string bytes = readFile(source);
    const std::size_t at = bytes.find("<rdf:RDF");
    ASSERT_NE(at, std::string::npos);
    bytes.replace(at, 8, "<&&&&&&&");
    expectHarmless(folder.write("broken.png", bytes));
}

}  // namespace lumaweave
