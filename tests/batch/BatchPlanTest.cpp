// SPDX-License-Identifier: GPL-3.0-or-later
#include "batch/BatchPlan.h"

#include <gmock/gmock.h>

#include <QLocale>

namespace lumaweave {

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// While it lives, this is the user's language. Without one, no order looks at whole numbers.
class Language {
  public:
    explicit Language(QLocale::Language language) { QLocale::setDefault(QLocale(language)); }
    ~Language() { QLocale::setDefault(before_); }
    Language(const Language&) = delete;
    Language& operator=(const Language&) = delete;

  private:
    QLocale before_;
};

}  // namespace

TEST(BatchPlanTest, NamesAreOrderedCharacterByCharacterAndNotByTheirNumbers) {
    for (const auto spoken : {QLocale::C, QLocale::English, QLocale::Japanese}) {
        const Language language(spoken);
        EXPECT_THAT(sortedForBatch({"IMG_2.tif", "img_10.tif"}),
                    ElementsAre("img_10.tif", "IMG_2.tif"));
    }
}

TEST(BatchPlanTest, UpperAndLowerCaseAreAlike) {
    for (const auto spoken : {QLocale::C, QLocale::English}) {
        const Language language(spoken);
        EXPECT_THAT(sortedForBatch({"c.jpg", "B.jpg", "a.jpg"}),
                    ElementsAre("a.jpg", "B.jpg", "c.jpg"));
        EXPECT_THAT(sortedForBatch({"b", "B", "a"}), ElementsAre("a", "B", "b"));
    }
}

TEST(BatchPlanTest, TheOrderIsThatOfTheUsersLanguage) {
    const std::vector<std::string> names = {"Ö.jpg", "z.jpg", "o.jpg"};
    {
        const Language language(QLocale::Swedish);
        EXPECT_THAT(sortedForBatch(names), ElementsAre("o.jpg", "z.jpg", "Ö.jpg"));
    }
    const Language language(QLocale::German);
    EXPECT_THAT(sortedForBatch(names), ElementsAre("o.jpg", "Ö.jpg", "z.jpg"));
}

TEST(BatchPlanTest, ANameWithADotInFrontIsHidden) {
    EXPECT_TRUE(isHiddenName(".DS_Store"));
    EXPECT_FALSE(isHiddenName("a.jpg"));
}

TEST(BatchPlanTest, AResultIsNamedAfterTheLastFileOfItsSet) {
    EXPECT_EQ(batchResultName("/f/IMG_0412.CR2"), "Enfused - IMG_0412.tif");
    EXPECT_EQ(batchResultName("/f/C.jpg"), "Enfused - C.tif");
    EXPECT_EQ(batchResultName("/f/a.b.jpg"), "Enfused - a.b.tif");
}

TEST(BatchPlanTest, ANameWithoutAnExtensionGetsOne) {
    EXPECT_EQ(batchResultName("/f/shot"), "Enfused - shot.tif");
}

TEST(BatchPlanTest, EveryCharacterThatTheShellActsOnIsRefusedWithTheNameOfTheFile) {
    for (const char character : std::string("\"$`\\\n\r")) {
        const std::string name = std::string("shot") + character + "1.jpg";
        const auto objection = batchObjection("/photos", {"/photos/a.jpg", "/photos/" + name});
        ASSERT_TRUE(objection) << static_cast<int>(character);
        EXPECT_THAT(*objection, HasSubstr(name));
    }
}

TEST(BatchPlanTest, AFolderPathWithSuchACharacterIsRefused) {
    const auto objection = batchObjection("/photos $1", {"/photos $1/a.jpg"});
    ASSERT_TRUE(objection);
    EXPECT_THAT(*objection, HasSubstr("\"/photos $1\" holds a dollar sign ($)"));
}

TEST(BatchPlanTest, OtherOddNamesAreWelcome) {
    EXPECT_EQ(batchObjection("/my photos", {"/my photos/it's 100% é.jpg", "/my photos/b;c&d.jpg"}),
              std::nullopt);
    // The extension never becomes part of a result's path.
    EXPECT_EQ(batchObjection("/f", {"/f/a.j$g"}), std::nullopt);
}

TEST(BatchPlanTest, APathThatIsTooLongForTheToolIsRefused) {
    EXPECT_TRUE(batchObjection("/" + std::string(2990, 'x'), {"/f/a.jpg"}));
}

TEST(BatchPlanTest, TheTimeLeftIsUnknownUntilASetIsDone) {
    EXPECT_EQ(remainingBatchSeconds(0, 3, 0, 5), std::nullopt);
    EXPECT_EQ(remainingBatchSeconds(3, 3, 30, 0), std::nullopt);
    EXPECT_EQ(remainingBatchText(std::nullopt), "The time left is known after the first set.");
}

TEST(BatchPlanTest, TheTimeLeftGoesByTheSetsThatAreDone) {
    EXPECT_EQ(remainingBatchSeconds(2, 5, 20, 0), 30);
    EXPECT_EQ(remainingBatchSeconds(2, 5, 20, 4), 26);
    EXPECT_EQ(remainingBatchSeconds(2, 5, 20, 99), 20);
}

TEST(BatchPlanTest, TheTimeLeftIsToldRoughly) {
    EXPECT_EQ(remainingBatchText(20), "Less than a minute left");
    EXPECT_EQ(remainingBatchText(65), "About a minute left");
    EXPECT_EQ(remainingBatchText(600), "About 10 minutes left");
    EXPECT_EQ(remainingBatchText(3 * 3600), "About 3 hours left");
}

}  // namespace lumaweave
