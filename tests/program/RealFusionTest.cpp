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
#include "support/FormatFixtures.h"
#include "support/ProgramFixture.h"
#include "widgets/ImageView.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::IsEmpty;

namespace {

constexpr SampleType typesOfRows[] = {SampleType::uint8, SampleType::uint16, SampleType::float32};

std::vector<fs::path> sampleBracket() {
    std::vector<fs::path> files;
    for (int i = 1; i <= 5; ++i) {
        files.push_back(fs::path(LUMAWEAVE_SOURCE_FOLDER) / "samples/bracket" /
                        ("window-" + std::to_string(i) + ".jpg"));
    }
    return files;
}

}  // namespace

class RealFusionTest : public ProgramTest {
  protected:
    RealFusionTest() : preview(*windows->previewWindow()) {}

    void chooseDepth(int row) {
        windows->settingsPanel()->outputDepthMatrix()->button(row)->click();
        EXPECT_TRUE(waitForBackgroundTasks());
    }
    // Runs the adapter by hand: the same line with another output file.
    Image fuseByHand(const std::string& echoed, const fs::path& programsOutput) {
        const fs::path byHand = folder / "by hand.tif";
        std::string command = echoed;
        const std::size_t at = command.find(programsOutput.native());
        command.replace(at, programsOutput.native().size(), byHand.native());
        EXPECT_EQ(std::system((command + " > /dev/null 2>&1").c_str()), 0);
        return decodeImage(byHand);
    }
    std::string echoOf(const std::function<void()>& action, const char* output) {
        testing::internal::CaptureStdout();
        action();
        for (const std::string& line :
             linesStartingWith(testing::internal::GetCapturedStdout(), "\"")) {
            if (line.find(output) != std::string::npos) return line;
        }
        return {};
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
        const Image byHand = fuseByHand(echoed, result);
        ASSERT_EQ(fused.size(), QSizeF(1920, 1280));
        EXPECT_EQ(fused.format().type, typesOfRows[row]);
        // At 8 and 16 bit the tool dithers with a new seed every run: one step of that depth.
        const double step[] = {1.0 / 255, 1.0 / 65535, 0.0};
        EXPECT_LE(differenceBetween(fused, byHand).largest, step[row] * 1.0001);
    }
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

// Fusing small and shrinking are not the same: the pyramid has fewer levels. Far less than a
// difference that an eye would see.
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
    const Image byHand = fuseByHand(echoed, enfusedDetailFile());
    EXPECT_EQ(differenceBetween(decodeImage(enfusedDetailFile()), byHand).largest, 0);
    EXPECT_EQ(preview.detailView()->image(), byHand.toScreen());
}

// Two equal shots of one colour fuse to that colour: what is shown must be it, at every depth.
TEST_F(RealFusionTest, ColoursAreRightOnScreenAtEveryDepth) {
    const double colour[] = {0.78, 0.47, 0.24};
    const Image patch = makeImage(300, 200, {}, [&](int, int, int s) { return colour[s]; });
    saveImage(patch, folder / "a.tif");
    saveImage(patch, folder / "b.tif");
    dropAndWait({folder / "a.tif", folder / "b.tif"});
    preview.mouseDown(QPointF(preview.rect().center()));
    QTest::mouseClick(preview.enfusedView(), Qt::LeftButton, {},
                      preview.enfusedView()->rect().center());
    for (int row = 0; row < 3; ++row) {
        chooseDepth(row);
        for (const ImageView* view : {preview.enfusedView(), preview.detailView()}) {
            const QImage shown = view->image();
            const QColor middle = shown.pixelColor(shown.rect().center());
            EXPECT_NEAR(middle.red(), 199, 1) << view->objectName().toStdString() << row;
            EXPECT_NEAR(middle.green(), 120, 1) << view->objectName().toStdString() << row;
            EXPECT_NEAR(middle.blue(), 61, 1) << view->objectName().toStdString() << row;
        }
    }
}

// The same patch, described by a wide profile: the numbers in the files differ from those on
// screen.
TEST_F(RealFusionTest, AWideColourProfileIsKeptAndConvertedForTheScreen) {
    const double colour[] = {0.78, 0.47, 0.24};
    vips::VImage patch =
        vipsImage(makeImage(300, 200, {}, [&](int, int, int s) { return colour[s]; }));
    VipsBlob* profile = nullptr;
    ASSERT_EQ(vips_profile_load("p3", &profile, nullptr), 0);
    std::size_t size = 0;
    const void* bytes = vips_blob_get(profile, &size);
    patch.set(VIPS_META_ICC_NAME, nullptr, const_cast<void*>(bytes), size);
    for (const char* name : {"a.tif", "b.tif"})
        patch.tiffsave((folder / name).c_str());
    dropAndWait({folder / "a.tif", folder / "b.tif"});
    const vips::VImage converted =
        patch.icc_transform("srgb", vips::VImage::option()->set("embedded", true));
    const std::vector<double> expected = converted.getpoint(10, 10);
    for (int row = 0; row < 3; ++row) {
        chooseDepth(row);
        EXPECT_FALSE(preview.enfuseImage().colourProfile().isEmpty());
        const QImage shown = preview.enfusedView()->image();
        const QColor middle = shown.pixelColor(shown.rect().center());
        EXPECT_NEAR(middle.red(), expected[0], 2);
        EXPECT_NEAR(middle.green(), expected[1], 2);
        EXPECT_NEAR(middle.blue(), expected[2], 2);
    }
    EXPECT_GT(std::abs(expected[0] - 199), 4) << "the profile makes a difference";
    vips_area_unref(VIPS_AREA(profile));
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
