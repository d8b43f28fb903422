// SPDX-License-Identifier: GPL-3.0-or-later
#include "batch/EarlierResult.h"

#include <gmock/gmock.h>

#include "support/LogRecorder.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;

class EarlierResultTest : public testing::Test {
  protected:
    EarlierResultTest() : result(folder / "r.tif") {}
    [[nodiscard]] bool nothingElseIsLeft() const { return namesIn(folder.path()).size() <= 1; }

    TestFolder folder;
    fs::path result;
    LogRecorder log;
};

TEST_F(EarlierResultTest, ItsPlaceIsFreeForTheNewOne) {
    folder.write("r.tif", "old");
    EarlierResult earlier(result);
    EXPECT_TRUE(earlier.isSafe());
    EXPECT_FALSE(fs::exists(result));
    folder.write("r.tif", "new");
    earlier.discard();
    EXPECT_EQ(readFile(result), "new");
    EXPECT_TRUE(nothingElseIsLeft());
}

TEST_F(EarlierResultTest, ItComesBackInThePlaceOfWhatFailed) {
    folder.write("r.tif", "old");
    EarlierResult earlier(result);
    folder.write("r.tif", "half");
    earlier.restore();
    EXPECT_EQ(readFile(result), "old");
    EXPECT_TRUE(nothingElseIsLeft());
}

TEST_F(EarlierResultTest, ItComesBackWhenNothingWasWritten) {
    folder.write("r.tif", "old");
    EarlierResult earlier(result);
    earlier.restore();
    EXPECT_EQ(readFile(result), "old");
    EXPECT_TRUE(nothingElseIsLeft());
}

TEST_F(EarlierResultTest, WithoutAnEarlierOneWhatFailedJustGoes) {
    EarlierResult earlier(result);
    EXPECT_TRUE(earlier.isSafe());
    folder.write("r.tif", "half");
    earlier.restore();
    EXPECT_FALSE(fs::exists(result));
    EXPECT_TRUE(nothingElseIsLeft());
}

TEST_F(EarlierResultTest, OneThatCannotBePutAsideIsSaidAndStays) {
    folder.write("r.tif", "old");
    folder.write(".Earlier results", "a file where the folder should be");
    const EarlierResult earlier(result);
    EXPECT_FALSE(earlier.isSafe());
    EXPECT_EQ(readFile(result), "old");
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_THAT(log.lines().front(),
                testing::StartsWith("The earlier result cannot be put aside: "));
}

TEST_F(EarlierResultTest, TheLongestNameThereIsIsKeptToo) {
    constexpr std::size_t longest = 255;
    const std::string name = std::string(longest - 4, 'x') + ".tif";
    folder.write(name, "old");
    EarlierResult earlier(folder / name);
    EXPECT_TRUE(earlier.isSafe());
    earlier.restore();
    EXPECT_EQ(readFile(folder / name), "old");
}

TEST_F(EarlierResultTest, WhatAKilledRunLeftIsPutBackUnlessTheNewOneIsComplete) {
    fs::create_directory(folder / ".Earlier results");
    for (const char* name : {"none.tif", "half.tif", "whole.tif"})
        folder.write(std::string(".Earlier results/") + name, "old");
    folder.write("half.tif", "half");
    saveImage(makeImage(40, 30, {}, sceneAt(1)), folder / "whole.tif");
    const std::string whole = readFile(folder / "whole.tif");
    EarlierResult::recover(folder.path());
    EXPECT_EQ(readFile(folder / "none.tif"), "old");
    EXPECT_EQ(readFile(folder / "half.tif"), "old");
    EXPECT_EQ(readFile(folder / "whole.tif"), whole);
    EXPECT_FALSE(fs::exists(folder / ".Earlier results"));
}

TEST_F(EarlierResultTest, WithoutAnythingLeftNothingChanges) {
    EarlierResult::recover(folder / "nowhere");
    EarlierResult::recover(folder.path());
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

}  // namespace lumaweave
