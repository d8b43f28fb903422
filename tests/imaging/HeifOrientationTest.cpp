// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/HeifOrientation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/FormatFixtures.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace {

std::span<const unsigned char> bytesOf(const std::string& text) {
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

class HeifOrientationTest : public testing::Test {
  protected:
    std::string fileOf(const test::HeifShape& shape) {
        const Image picture = test::makeImage(64, 64, {3, false, SampleType::uint8},
                                              [](int x, int y, int) { return (x + y) / 128.0; });
        test::writeHeif(picture, folder / "picture", shape);
        return test::readFile(folder / "picture");
    }

    test::TestFolder folder;
};

// A box with this content.
std::string box(const std::string& type, const std::string& content) {
    const std::size_t size = content.size() + 8;
    const char number[] = {0, 0, static_cast<char>(size >> 8U), static_cast<char>(size & 0xFFU)};
    return std::string(number, 4) + type + content;
}

const std::string noFlags(4, '\0');

// A file's structure with one item that has these properties.
std::string structureOf(const std::string& properties, const std::string& associations) {
    const std::string mainItem = noFlags + std::string("\0\1", 2);
    return box("ftyp", "heic") +
           box("meta", noFlags + box("pitm", mainItem) +
                           box("iprp", box("ipco", properties) + box("ipma", associations)));
}

const std::string quarter = box("irot", "\1");
const std::string leftRight = box("imir", "\1");
// Flags, one item, its number, then how many properties.
const std::string firstItemHas = noFlags + std::string("\0\0\0\1\0\1", 6);

}  // namespace

TEST_F(HeifOrientationTest, IsThatOfTheMainPicturesTransformations) {
    for (int orientation = 1; orientation <= 8; ++orientation) {
        EXPECT_EQ(heifOrientation(bytesOf(fileOf({.orientation = orientation}))), orientation);
        EXPECT_EQ(
            heifOrientation(bytesOf(fileOf({.av1 = true, .bits = 10, .orientation = orientation}))),
            orientation);
    }
}

TEST_F(HeifOrientationTest, CountsTheOrderOfTheTransformations) {
    const std::string both = quarter + leftRight;
    EXPECT_EQ(heifOrientation(bytesOf(structureOf(both, firstItemHas + "\2\1\2"))), 7);
    EXPECT_EQ(heifOrientation(bytesOf(structureOf(both, firstItemHas + "\2\2\1"))), 5);
    EXPECT_EQ(heifOrientation(bytesOf(structureOf(both, firstItemHas + "\1\1"))), 8);
    // "Essential" is a bit of its own; places that the list does not have count for nothing.
    EXPECT_EQ(heifOrientation(bytesOf(structureOf(both, firstItemHas + "\3\x82\3\x7F"))), 2);
}

TEST_F(HeifOrientationTest, TransformationsOfOtherItemsDoNotCount) {
    const std::string ofTheSecond = noFlags + std::string("\0\0\0\1\0\2", 6);
    EXPECT_EQ(heifOrientation(bytesOf(structureOf(quarter, ofTheSecond + "\1\1"))), 1);
    const std::string two = noFlags + std::string("\0\0\0\2\0\2\1\1\0\1\1\2", 12);
    const std::string file = structureOf(quarter + leftRight, two);
    EXPECT_EQ(heifOrientation(bytesOf(file)), 2);
    EXPECT_EQ(heifOrientation(bytesOf(file), 1), 2);
    EXPECT_EQ(heifOrientation(bytesOf(file), 2), 8);
    EXPECT_EQ(heifOrientation(bytesOf(file), 3), 1);
}

TEST_F(HeifOrientationTest, LongFormsOfItemsAndIndices) {
    const std::string longItems = std::string("\1\0\0\1\0\0\0\1\0\0\0\1\1\x80\1", 15);
    EXPECT_EQ(heifOrientation(bytesOf(structureOf(quarter, longItems))), 8);
}

TEST_F(HeifOrientationTest, IsNotToldOfACroppedPicture) {
    const std::string crop = box("clap", std::string(32, '\0'));
    EXPECT_EQ(heifOrientation(bytesOf(structureOf(crop + quarter, firstItemHas + "\2\1\2"))),
              std::nullopt);
    EXPECT_EQ(heifOrientation(bytesOf(structureOf(crop + quarter, firstItemHas + "\1\2"))), 8);
}

TEST_F(HeifOrientationTest, IsNotToldOfWhatIsNoSuchFile) {
    EXPECT_EQ(heifOrientation({}), std::nullopt);
    EXPECT_EQ(heifOrientation(bytesOf("not a file of boxes at all")), std::nullopt);
    EXPECT_EQ(heifOrientation(bytesOf(box("meta", "ab"))), std::nullopt);
    for (const char* empty : {"irot", "imir"}) {
        EXPECT_EQ(heifOrientation(bytesOf(structureOf(box(empty, ""), firstItemHas + "\1\1"))),
                  std::nullopt);
    }
}

TEST_F(HeifOrientationTest, DamageReadsNothingOutsideTheFile) {
    const std::string whole = structureOf(quarter + leftRight, firstItemHas + "\2\1\2");
    for (std::size_t length = 0; length < whole.size(); ++length) {
        // In memory of its own size, so that a byte too many is noticed.
        const std::vector<unsigned char> cut(whole.begin(),
                                             whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(heifOrientation(cut), std::nullopt) << length;
    }
    for (std::size_t place = 0; place < whole.size(); ++place) {
        for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
            std::vector<unsigned char> damaged(whole.begin(), whole.end());
            damaged[place] = static_cast<unsigned char>(value);
            const auto orientation = heifOrientation(damaged);
            EXPECT_TRUE(!orientation || (*orientation >= 1 && *orientation <= 8)) << place;
        }
    }
}

}  // namespace lumaweave
