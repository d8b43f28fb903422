// SPDX-License-Identifier: GPL-3.0-or-later

// Sets that fail, disks that are full, and what is left afterwards.

#include <QCheckBox>
#include <fstream>

#include "batch/BatchFixture.h"
#include "imaging/decoding/ImageDecoder.h"
#include "platform/Resources.h"
#include "platform/WorkingFolder.h"
#include "settings/EnfuseSettingsWindow.h"
#include "stack/SharedState.h"
#include "support/AlertTexts.h"
#include "support/FileSizeLimit.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class BatchFailureTest : public BatchTest {};

TEST_F(BatchFailureTest, AFailedSetIsLoggedAndTheBatchGoesOn) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    replaceFusionTool(std::string(takeArguments) + "case $out in *b.tif) exit 1 ;; esac\n" +
                      copyLastInput);
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - d.tif"));
    EXPECT_TRUE(hasLog("The set up to b.jpg could not be fused"));
}

TEST_F(BatchFailureTest, AFailedSetIsToldWhereItsMetadataCannotBeCarriedOver) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    windows->settingsPanel()->preserveEXIFCheckBox()->setChecked(true);
    replaceFusionTool(std::string(takeArguments) + "case $out in *b.tif) exit 1 ;; esac\n" +
                      copyLastInput);
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(unreadableResult, complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - d.tif"));
    EXPECT_TRUE(hasLog("The set up to b.jpg could not be fused"));
}

TEST_F(BatchFailureTest, WithoutTheFusionToolEverySetIsToldAndTheBatchGoesOn) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    copyWithTool();
    fs::remove(resourceFolder() / "Enfuse/enfuse-openmp");
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(toolNotFound, toolNotFound, complete));
    EXPECT_THAT(results(), IsEmpty());
    EXPECT_TRUE(hasLog("The set up to b.jpg could not be fused"));
    EXPECT_TRUE(hasLog("The set up to d.jpg could not be fused"));
    expectAtRest();
}

TEST_F(BatchFailureTest, TheFusionToolGoesMissingDuringABatch) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    makeToolWait("enfuse-openmp", copyLastInput);
    whenTrue([this] { return toolWaits(); },
             [this] {
                 fs::remove(resourceFolder() / "Enfuse/enfuse-openmp");
                 letGo();
             });
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(toolNotFound, complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
}

TEST_F(BatchFailureTest, AFailedAlignmentIsToldAndTheBatchGoesOn) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    replaceTool("align_image_stack", std::string(takeAlignArguments) + "[ -e '" +
                                         (folder / "once").native() + "' ] || { touch '" +
                                         (folder / "once").native() + "'; exit 1; }\n" +
                                         copyEveryInput);
    batch(2, true);
    EXPECT_THAT(alerts.texts(), ElementsAre(loadingFailed, complete));
    // The batch fuses nothing older in its place.
    EXPECT_THAT(results(), ElementsAre("Enfused - d.tif"));
    EXPECT_TRUE(hasLog("The set up to b.jpg could not be fused"));
}

TEST_F(BatchFailureTest, HalfAFileDoesNotStayAsIfItWereAResult) {
    makeFiles({"a.jpg", "b.jpg"});
    replaceFusionTool(std::string(takeArguments) + leaveHalfAFile);
    batch(2);
    EXPECT_THAT(results(), IsEmpty());
    EXPECT_TRUE(hasLog("The set up to b.jpg could not be fused"));
}

TEST_F(BatchFailureTest, AFileWithAGoodHeaderAndHalfItsPixelsIsAFailureToo) {
    makeFiles({"a.jpg", "b.jpg"}, 300, 200);
    const std::string whole = readFile(photos() / "a.jpg");
    const fs::path half = folder.write("half.jpg", whole.substr(0, whole.size() / 2));
    ASSERT_TRUE(isDecodable(half));
    replaceFusionTool(std::string(takeArguments) + "cp '" + half.native() + "' \"$out\"\n");
    batch(2);
    EXPECT_THAT(results(), IsEmpty());
    EXPECT_TRUE(hasLog("The set up to b.jpg could not be fused"));
}

TEST_F(BatchFailureTest, AnEarlierGoodResultOutlivesAFailure) {
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    batch(2);
    const std::string good = readFile(result("Enfused - b.tif"));
    for (const char* failure : {leaveHalfAFile, fail}) {
        replaceFusionTool(std::string(takeArguments) + failure);
        batch(2);
        EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
        EXPECT_EQ(readFile(result("Enfused - b.tif")), good);
    }
}

TEST_F(BatchFailureTest, AnEarlierGoodResultOutlivesASetThatHasTooFewShots) {
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    batch(2);
    const std::string good = readFile(result("Enfused - b.tif"));
    batch(1);
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    EXPECT_EQ(readFile(result("Enfused - b.tif")), good);
}

TEST_F(BatchFailureTest, WhatAKilledRunPutAsideComesBack) {
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    batch(2);
    const std::string good = readFile(result("Enfused - b.tif"));
    const fs::path aside = photos() / "Enfused Files" / ".Earlier results";
    fs::create_directory(aside);
    fs::rename(result("Enfused - b.tif"), aside / "Enfused - b.tif");
    folder.write("photos/Enfused Files/Enfused - b.tif", "half");
    replaceFusionTool(fail);
    batch(2);
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    EXPECT_EQ(readFile(result("Enfused - b.tif")), good);
}

TEST_F(BatchFailureTest, AnEarlierResultThatCannotBePutAsideIsNotOverwritten) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    fs::create_directory(photos() / "Enfused Files");
    folder.write("photos/Enfused Files/Enfused - b.tif", "earlier");
    folder.write("photos/Enfused Files/.Earlier results", "a file of that name");
    copyWithTool();
    batch(2);
    EXPECT_EQ(readFile(result("Enfused - b.tif")), "earlier");
    EXPECT_TRUE(hasLog("The set up to b.jpg could not be fused"));
    EXPECT_TRUE(isWhollyDecodable(result("Enfused - d.tif"))) << "the batch goes on";
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
}

TEST_F(BatchFailureTest, AResultFolderThatCannotBeMadeFailsEverySet) {
    makeFiles({"a.jpg", "b.jpg"});
    folder.write("photos/Enfused Files", "a file of that name");
    copyWithTool();
    batch(3);  // it is the third file
    EXPECT_EQ(alerts.texts().back(), complete);
    EXPECT_EQ(readFile(photos() / "Enfused Files"), "a file of that name");
    batch(2);
    EXPECT_TRUE(hasLog("The set up to b.jpg could not be fused"));
}

TEST_F(BatchFailureTest, ADiskThatFillsUpCostsNoEarlierResult) {
    makeFiles({"a.jpg", "b.jpg"}, 300, 200);
    batch(2);
    const std::string good = readFile(result("Enfused - b.tif"));
    ASSERT_GT(good.size(), 20000U);
    replaceFusionTool("ulimit -f 20\nexec '" LUMAWEAVE_RESOURCES "/Enfuse/enfuse-openmp' \"$@\"\n");
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete, complete));
    EXPECT_TRUE(hasLog("The set up to b.jpg could not be fused"));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    EXPECT_EQ(readFile(result("Enfused - b.tif")), good);
}

// Without the file that did not fit, the set would mix two brackets.
TEST_F(BatchFailureTest, AWorkingFolderThatFillsUpEndsTheBatchBeforeSetsAreMixed) {
    makeFiles({"a.jpg", "b.jpg", "d.jpg", "e.jpg", "f.jpg"}, 60, 40);
    makeFiles({"c.jpg"}, 600, 400);
    copyWithTool();
    constexpr unsigned long roomForSmallOnesOnly = 100'000;
    {
        const FileSizeLimit limit(roomForSmallOnesOnly);
        batch(2);
    }
    ASSERT_EQ(alerts.texts().size(), 2U);
    EXPECT_THAT(alerts.texts()[0], HasSubstr("The working folder cannot be written"));
    EXPECT_EQ(alerts.texts()[1], complete);
    EXPECT_EQ(log.count("The file at path " + (photos() / "c.jpg").native() +
                        " could not be assigned by Lumaweave!"),
              1);
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    expectAtRest();
    // The next batch has room again.
    alerts.forget();
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_EQ(results().size(), 3U);
}

TEST_F(BatchFailureTest, EveryBatchTellsOfAFullWorkingFolder) {
    makeFiles({"a.jpg", "b.jpg"}, 600, 400);
    const FileSizeLimit limit(100'000);
    batch(2);
    batch(2);
    ASSERT_EQ(alerts.texts().size(), 4U);
    for (const int i : {0, 2}) {
        EXPECT_THAT(alerts.texts()[static_cast<std::size_t>(i)],
                    HasSubstr("The working folder cannot be written"));
    }
}

}  // namespace lumaweave
