// SPDX-License-Identifier: GPL-3.0-or-later

// The whole program with the real fusion tool.

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <algorithm>
#include <cmath>
#include <fstream>
#include <numeric>

#include "imaging/decoding/ImageDecoder.h"
#include "imaging/formats/VipsLibrary.h"
#include "platform/Resources.h"
#include "preview/PreviewWindow.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"
#include "stack/WorkingFiles.h"
#include "support/Colours.h"
#include "support/FormatFixtures.h"
#include "support/FusionByHand.h"
#include "support/Printed.h"
#include "support/ProgramFixture.h"
#include "widgets/ImageView.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::IsEmpty;

namespace {

constexpr SampleType typesOfRows[] = {SampleType::uint8, SampleType::uint16, SampleType::float32};

std::vector<fs::path> sampleBracket() {
    return {sampleShot(1), sampleShot(2), sampleShot(3), sampleShot(4), sampleShot(5)};
}

}  // namespace

class RealFusionTest : public ProgramTest {
  protected:
    RealFusionTest() : preview(*windows->previewWindow()) {}

    // The same command with another output file.
    [[nodiscard]] Image fusedAnew(const std::string& command, const fs::path& output) const {
        return fusedByHand(command, OtherNames{{output, folder / "by hand.tif"}});
    }
    static std::string echoOf(const std::function<void()>& action, const char* output) {
        const auto commands = echoedCommands(printedWhile(action), output);
        return commands.empty() ? std::string() : commands.front();
    }

    PreviewWindow& preview;
};

TEST_F(RealFusionTest, TheSampleIsFusedAtEveryDepthAsByHand) {
    dropAndWait(sampleBracket());
    QTest::mouseClick(preview.enfusedView(), Qt::LeftButton, {},
                      preview.enfusedView()->rect().center());
    for (int row = 0; row < 3; ++row) {
        chooseDepth(row);
        EXPECT_EQ(preview.enfuseImage().format().type, typesOfRows[row]);
        EXPECT_FALSE(preview.detailView()->image().isNull());
        const fs::path result = folder / ("depth" + std::to_string(row) + ".tif");
        const std::string echoed = echoOf([&] { fuseFullSize(result); }, result.c_str());
        const Image fused = decodeImage(result);
        const Image byHand = fusedAnew(echoed, result);
        ASSERT_EQ(fused.size(), QSizeF(1920, 1280));
        EXPECT_EQ(fused.format().type, typesOfRows[row]);
        // At 8 and 16 bit the tool dithers with a new seed every run: one step of that depth.
        const double step[] = {1.0 / 255, 1.0 / 65535, 0.0};
        EXPECT_LE(differenceBetween(fused, byHand).largest, step[row] * 1.0001);
    }
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

// Fusing small and shrinking are not the same: the pyramid has fewer levels. But no eye sees the
// difference.
class PreviewTruthTest : public RealFusionTest {
  protected:
    void expectTruth(const std::vector<fs::path>& files, int depthRow) {
        windows->settingsPanel()->outputDepthMatrix()->button(depthRow)->setChecked(true);
        dropAndWait(files);
        fuseFullSize(folder / "full.tif");
        const QImage shown = preview.enfusedView()->image();
        const Image full = decodeImage(folder / "full.tif");
        ASSERT_EQ(full.format().type, typesOfRows[depthRow]);
        const QImage shrunk = full.scaled(shown.width(), shown.height()).toScreen();
        std::vector<int> differences;
        for (int y = 0; y < shown.height(); ++y) {
            const uchar* a = shown.constScanLine(y);
            const uchar* b = shrunk.constScanLine(y);
            for (int i = 0; i < 4 * shown.width(); ++i) {
                if (i % 4 != 3) differences.push_back(std::abs(a[i] - b[i]));
            }
        }
        std::sort(differences.begin(), differences.end());
        const double mean = std::accumulate(differences.begin(), differences.end(), 0.0) /
                            static_cast<double>(differences.size());
        const int percentile = differences.at(differences.size() * 99 / 100);
        EXPECT_LE(mean, 2.5);
        EXPECT_LE(percentile, 12);
        RecordProperty("mean of 255", std::to_string(mean));
        RecordProperty("99th percentile of 255", percentile);
    }
    // The sample as 16-bit TIFFs, in the colours of this profile if there is one.
    std::vector<fs::path> deepBracket(const QByteArray& profile) const {
        std::ofstream(folder / "profile.icc", std::ios::binary)
            .write(profile.constData(), profile.size());
        std::vector<fs::path> files;
        for (const fs::path& jpeg : sampleBracket()) {
            vips::VImage picture = vipsImage(decodeImage(jpeg));
            if (profile.isEmpty()) {
                picture = picture.cast(VIPS_FORMAT_USHORT)
                              .linear(257, 0)
                              .cast(VIPS_FORMAT_USHORT)
                              .copy(vips::VImage::option()->set("interpretation",
                                                                VIPS_INTERPRETATION_RGB16));
            } else {
                picture = picture.icc_transform(
                    (folder / "profile.icc").c_str(),
                    vips::VImage::option()->set("input_profile", "srgb")->set("depth", 16));
            }
            files.push_back(folder / (jpeg.stem().native() + ".tif"));
            picture.tiffsave(files.back().c_str());
        }
        return files;
    }
};

TEST_F(PreviewTruthTest, OfEightBitShots) {
    expectTruth(sampleBracket(), 0);
}
TEST_F(PreviewTruthTest, OfSixteenBitShots) {
    expectTruth(deepBracket({}), 1);
}
TEST_F(PreviewTruthTest, OfShotsOfAWideGamut) {
    expectTruth(deepBracket(profileOf(proPhotoSpace)), 1);
    EXPECT_FALSE(preview.enfuseImage().colourProfile().isEmpty());
}

TEST_F(RealFusionTest, TheDetailIsTheFullSizeFusionOfItsCrops) {
    dropAndWait(sampleBracket());
    windows->settingsPanel()->outputDepthMatrix()->button(2)->setChecked(true);
    const std::string echoed = echoOf(
        [&] {
            QTest::mouseClick(preview.enfusedView(), Qt::LeftButton, {},
                              preview.enfusedView()->rect().center());
        },
        "EnfusedDetail.tif");
    const Image byHand = fusedAnew(echoed, enfusedDetailFile());
    EXPECT_EQ(differenceBetween(decodeImage(enfusedDetailFile()), byHand).largest, 0);
    EXPECT_EQ(preview.detailView()->image(), byHand.toScreen());
}

// Two equal shots of one colour fuse to that colour: the screen shows it, at every depth.
TEST_F(RealFusionTest, ColoursAreRightOnScreenAtEveryDepth) {
    dropTwoOf(plainPicture(300, 200, std::array{0.78, 0.47, 0.24}));
    preview.mouseDown(QPointF(preview.rect().center()));
    QTest::mouseClick(preview.enfusedView(), Qt::LeftButton, {},
                      preview.enfusedView()->rect().center());
    for (int row = 0; row < 3; ++row) {
        chooseDepth(row);
        for (const ImageView* view : {preview.enfusedView(), preview.detailView()}) {
            EXPECT_THAT(middleOf(view->image()), isNear({199, 120, 61}, 1))
                << view->objectName().toStdString() << row;
        }
    }
}

// The same patch, described by a wide profile: the numbers in the files differ from those on
// screen.
TEST_F(RealFusionTest, AWideColourProfileIsKeptAndConvertedForTheScreen) {
    const std::array<double, 3> colour = {0.78, 0.47, 0.24};
    const std::array<double, 3> expected = levelsOf(inSrgb(displayP3Space, colour));
    dropTwoOf(withProfile(plainPicture(300, 200, colour), profileOf(displayP3Space)));
    for (int row = 0; row < 3; ++row) {
        chooseDepth(row);
        EXPECT_FALSE(preview.enfuseImage().colourProfile().isEmpty());
        EXPECT_THAT(middleOf(preview.enfusedView()->image()), isNear(expected, 2));
    }
    EXPECT_GT(std::abs(expected[0] - 199), 4) << "the profile makes a difference";
}

TEST_F(RealFusionTest, EverySwitchRuns) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 3));
    const EnfuseSettingsWindow& panel = *windows->settingsPanel();
    for (QCheckBox* box :
         {panel.hardMaskButton(), panel.blend180Button(), panel.CIECAM02Button()}) {
        box->click();
        EXPECT_TRUE(waitForBackgroundTasks());
    }
    panel.imageCacheSizeMenu()->setCurrentIndex(3);
    for (QComboBox* menu :
         {panel.exposureWeightMenu(), panel.saturationWeightMenu(), panel.contrastWeightMenu(),
          panel.entropyWeightMenu(), panel.contrastWindowSizeMenu()}) {
        menu->setCurrentIndex(5);
    }
    panel.CIECAM02Button()->click();
    EXPECT_TRUE(waitForBackgroundTasks());
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

}  // namespace lumaweave
