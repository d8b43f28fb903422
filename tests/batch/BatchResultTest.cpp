// SPDX-License-Identifier: GPL-3.0-or-later

// What a batch leaves with the installed tools, and what it takes meanwhile.

#include <QAbstractButton>
#include <QButtonGroup>
#include <QCheckBox>
#include <QProgressBar>
#include <QTest>
#include <fstream>

#include "batch/BatchFixture.h"
#include "imaging/decoding/ImageDecoder.h"
#include "imaging/formats/VipsLibrary.h"
#include "platform/WorkingFolder.h"
#include "settings/EnfuseSettingsWindow.h"
#include "stack/SharedState.h"
#include "support/ExifTool.h"
#include "support/FusionByHand.h"
#include "support/PrivateMemory.h"
#include "support/ShownWindow.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;

namespace {

// Files that have no name any more, but still take room because they are mapped.
std::ptrdiff_t unlinkedWorkingFiles() {
    std::ifstream maps("/proc/self/maps");
    std::ptrdiff_t count = 0;
    for (std::string line; std::getline(maps, line);) {
        if (line.find(workingFolder().native()) != std::string::npos && line.ends_with("(deleted)"))
            ++count;
    }
    return count;
}

}  // namespace

class BatchResultTest : public BatchTest {
  protected:
    static constexpr int width = 480;
    static constexpr int height = 320;

    // Nine files in three sets, in the order of a listing: the sample's first, third and last shot
    // as they are, mirrored, and upside down, so that no set's result passes for another's.
    std::vector<fs::path> makeNineShots() const {
        std::vector<fs::path> files;
        for (const char* set : {"a", "b", "c"}) {
            for (const int shot : {1, 3, 5}) {
                vips::VImage picture =
                    vipsImage(decodeImage(sampleShot(shot)).scaled(width, height));
                if (*set == 'b') picture = picture.flip(VIPS_DIRECTION_HORIZONTAL);
                if (*set == 'c') picture = picture.flip(VIPS_DIRECTION_VERTICAL);
                files.push_back(photos() / (set + std::to_string(shot) + ".jpg"));
                picture.jpegsave(files.back().c_str(), vips::VImage::option()->set("Q", 95));
            }
        }
        return files;
    }
    // The mean difference, in steps of 8 bit, between each set's result and the fusion of its files
    // by hand.
    std::vector<double> differencesFromFusionByHand(const std::vector<fs::path>& files) const {
        std::vector<double> differences;
        for (std::size_t set = 0; set < 3; ++set) {
            const auto first = files.begin() + static_cast<std::ptrdiff_t>(3 * set);
            const Image byHand = fusedByHand(std::vector(first, first + 3), folder / "by hand.tif");
            const std::string name = "Enfused - " + (first + 2)->stem().native() + ".tif";
            const Image fused = decodeImage(result(name));
            EXPECT_EQ(fused.size(), QSizeF(width, height)) << name;
            differences.push_back(differenceBetween(fused, byHand).mean * 255);
        }
        return differences;
    }
};

TEST_F(BatchResultTest, NineShotsGiveThreeResultsAsTheToolMakesThemByHand) {
    const std::vector<fs::path> files = makeNineShots();
    batch(3);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - a5.tif", "Enfused - b5.tif", "Enfused - c5.tif"));
    // The tool dithers with a new seed every run: at most one step, in fewer than half the samples.
    EXPECT_THAT(differencesFromFusionByHand(files), testing::Each(testing::Lt(0.5)));
    // This tells one set from another.
    EXPECT_GT(differenceBetween(decodeImage(result("Enfused - a5.tif")),
                                decodeImage(result("Enfused - b5.tif")))
                      .mean *
                  255,
              10);
    expectAtRest();
}

TEST_F(BatchResultTest, NineShotsFromATripodAreFusedTheSameWithAlignment) {
    const std::vector<fs::path> files = makeNineShots();
    batch(3, true);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - a5.tif", "Enfused - b5.tif", "Enfused - c5.tif"));
    EXPECT_EQ(log.count("doing auto-align..."), 3);
    // The aligner shifts by a fraction of a pixel and interpolates: details soften a little.
    EXPECT_THAT(differencesFromFusionByHand(files),
                testing::Each(testing::AllOf(testing::Lt(4.0), testing::Gt(0.5))));
    expectAtRest();
}

TEST_F(BatchResultTest, EachResultCarriesTheMetadataOfItsOwnSet) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    ASSERT_TRUE(writeTags(photos() / "a.jpg", {"-IFD0:Artist=A. Person"}));
    ASSERT_TRUE(writeTags(photos() / "d.jpg", {"-IFD0:Artist=D. Person"}));
    windows->settingsPanel()->preserveEXIFCheckBox()->setChecked(true);
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_EQ(exifToolTags(result("Enfused - b.tif"))["IFD0:Artist"], "A. Person");
    EXPECT_EQ(exifToolTags(result("Enfused - d.tif"))["IFD0:Artist"], "D. Person");
    EXPECT_TRUE(isWhollyDecodable(result("Enfused - b.tif")));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif", "Enfused - d.tif"));
}

TEST_F(BatchResultTest, MetadataIsCarriedOverAlsoAfterACancel) {
    makeFiles({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    ASSERT_TRUE(writeTags(photos() / "a.jpg", {"-IFD0:Artist=A. Person"}));
    windows->settingsPanel()->preserveEXIFCheckBox()->setChecked(true);
    makeToolWait("enfuse-openmp", copyLastInput);
    whenTrue([this] { return toolWaits() && sheet() != nullptr; },
             [this] {
                 QTest::mouseClick(button(sheet(), "cancelButton"), Qt::LeftButton);
                 letGo();
             });
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(canceled));
    EXPECT_EQ(exifToolTags(result("Enfused - b.tif"))["IFD0:Artist"], "A. Person");
}

TEST_F(BatchResultTest, TheSettingsPanelSaysHowTheSetsAreFused) {
    makeFiles({"a.jpg", "b.jpg"});
    windows->settingsPanel()->outputDepthMatrix()->button(1)->setChecked(true);
    batch(2);
    EXPECT_EQ(decodeImage(result("Enfused - b.tif")).format().type, SampleType::uint16);
}

TEST_F(BatchResultTest, ALongBatchTakesNoMoreMemoryAndDiskThanAShortOne) {
    std::vector<std::string> names;
    for (int i = 100; i < 180; ++i)
        names.push_back(std::to_string(i) + ".jpg");
    makeFiles(names, 300, 200);
    copyWithTool();
    long long early = 0;
    long long late = 0;
    std::vector<std::string> earlyFiles;
    std::vector<std::string> lateFiles;
    whenShown<BatchProgressDialog>([&](BatchProgressDialog& dialog) {
        QObject::connect(dialog.progressBar(), &QProgressBar::valueChanged, [&](int v) {
            if (v == 4) early = privateMemory(), earlyFiles = namesIn(workingFolder());
            if (v == 80) late = privateMemory(), lateFiles = namesIn(workingFolder());
        });
    });
    batch(2);
    ASSERT_GT(early, 0);
    if (!sanitized) {
        EXPECT_LT(late, early + early / 20) << early << " bytes after the second set";
    }
    EXPECT_EQ(lateFiles, earlyFiles);
    EXPECT_EQ(results().size(), 40U);
}

TEST_F(BatchResultTest, AlignedWorkingCopiesDoNotPileUpEither) {
    copyWithTool();
    replaceTool("align_image_stack", std::string(takeAlignArguments) + copyEveryInput);
    std::vector<std::string> names;
    for (int i = 10; i < 34; ++i)
        names.push_back(std::to_string(i) + ".jpg");
    makeFiles(names);
    batch(2, true);
    EXPECT_EQ(results().size(), 12U);
    // What two cells have; a set's preview may or may not have come to its detail.
    EXPECT_THAT(namesIn(workingFolder()),
                testing::IsSubsetOf({".lock", "ConvertedToTIFF 0.tif", "ConvertedToTIFF 1.tif",
                                     "DetailImage 0.tif", "DetailImage 1.tif", "EnfusedDetail.tif",
                                     "EnfusedPreview.tif", "ScaledSourceImage 0.tif",
                                     "ScaledSourceImage 1.tif", "alignedImage0000.tif",
                                     "alignedImage0001.tif", "alignedImage.hfov"}));
    EXPECT_EQ(unlinkedWorkingFiles(), 0);
}

}  // namespace lumaweave
