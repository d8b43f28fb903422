// SPDX-License-Identifier: GPL-3.0-or-later

// The whole program with the real tools, on hand-held shots.

#include <gmock/gmock.h>

#include <QButtonGroup>
#include <QRadioButton>
#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#include "align/AlignCommand.h"
#include "align/AlignFixture.h"
#include "align/AlignSettings.h"
#include "align/BlockShifts.h"
#include "imaging/decoding/ImageDecoder.h"
#include "preview/PreviewWindow.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"
#include "stack/WorkingFiles.h"
#include "support/AlertTexts.h"
#include "support/FormatFixtures.h"
#include "widgets/ImageView.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;

namespace {

// The sample's scene, its camera turned between shots that are 2 EV apart, as made by
//   render-bracket --width 900 --shots 3 --ev-step 2
//       --turn 0,0,0 --turn 1.5,-0.8,0.9 --turn -0.7,1.1,-1.5 tests/align/hand-held
std::vector<fs::path> handHeldShots() {
    std::vector<fs::path> files;
    for (int i = 1; i <= 3; ++i) {
        files.push_back(fs::path(LUMAWEAVE_SOURCE_FOLDER) / "tests/align/hand-held" /
                        ("window-" + std::to_string(i) + ".jpg"));
    }
    return files;
}

constexpr int blocks = blockColumns * blockRows;

}  // namespace

class HandHeldTest : public AlignTest {
  protected:
    [[nodiscard]] std::vector<Image> images(int count) const {
        std::vector<Image> result;
        for (int i = 0; i < count; ++i)
            result.push_back(cell(i).theImage());
        return result;
    }
    // How many blocks of each pair of neighbours lie less than half a pixel apart.
    static std::vector<int> blocksThatFit(const std::vector<Image>& shots, const QRect& area) {
        std::vector<int> fitting;
        for (std::size_t i = 0; i + 1 < shots.size(); ++i) {
            fitting.push_back(blocksWithin(blockShifts(shots[i], shots[i + 1], area), 0.5));
        }
        return fitting;
    }
    Image fuse(const std::string& name) {
        fuseFullSize(folder / name);
        return decodeImage(folder / name);
    }
};

TEST_F(HandHeldTest, NeighbouringShotsLieWithinHalfAPixelInNineBlocksOfTen) {
    dropAndWait(handHeldShots());
    const std::vector<Image> before = images(3);
    align();
    EXPECT_THAT(alerts.texts(), IsEmpty());
    const std::vector<Image> after = images(3);
    const QRect area = commonArea(after);
    // Most of the picture is left.
    EXPECT_GT(area.width(), 900 * 9 / 10);
    EXPECT_GT(area.height(), 600 * 8 / 10);
    constexpr int nineOfTen = (blocks * 9 + 9) / 10;
    EXPECT_THAT(blocksThatFit(after, area), ElementsAre(Ge(nineOfTen), Ge(nineOfTen)));
    EXPECT_THAT(blocksThatFit(before, area), ElementsAre(Le(blocks / 10), Le(blocks / 10)))
        << "before, they did not";
}

TEST_F(HandHeldTest, AnAlignedStackFusesSharperThanOneThatIsNot) {
    dropAndWait(handHeldShots());
    const Image blurred = fuse("not aligned.tif");
    align();
    const Image sharp = fuse("aligned.tif");
    const QRect area = commonArea(images(3));
    ASSERT_EQ(blurred.size(), sharp.size());
    EXPECT_GT(detailEnergy(sharp, area), 1.2 * detailEnergy(blurred, area));
    EXPECT_THAT(alerts.texts(), IsEmpty());
    // There is a preview of it.
    EXPECT_FALSE(windows->previewWindow()->enfuseImage().isNull());
}

TEST_F(HandHeldTest, AlignedShotsKeepTheirColours) {
    const std::array profiles = {QByteArray(), profileOf(adobeRgbSpace), profileOf(displayP3Space)};
    std::vector<fs::path> shots;
    std::vector<Image> originals;
    for (std::size_t i = 0; i < profiles.size(); ++i) {
        originals.push_back(withProfile(decodeImage(handHeldShots()[i]), profiles[i]));
        shots.push_back(folder / ("shot " + std::to_string(i) + ".tif"));
        saveImage(originals.back(), shots.back());
    }
    dropAndWait(shots);
    align();
    EXPECT_THAT(alerts.texts(), IsEmpty());
    const auto middle = [](const Image& image) {
        return image.scaledPart({200, 150, 500, 300}, 1, 1).toScreen().pixelColor(0, 0);
    };
    for (std::size_t i = 0; i < profiles.size(); ++i) {
        const Image aligned = cell(static_cast<int>(i)).theImage();
        EXPECT_EQ(aligned.colourProfile(), profiles[i]) << i;
        // The turn moves the middle by some pixels of a soft scene.
        EXPECT_NEAR(middle(aligned).red(), middle(originals[i]).red(), 5) << i;
        EXPECT_NEAR(middle(aligned).blue(), middle(originals[i]).blue(), 5) << i;
    }
    // The fusion gets them in the colours of the first.
    copyWithTool();
    const QColor last = middle(cell(2).theImage());
    const Image given = fuse("given.tif");
    EXPECT_TRUE(given.colourProfile().isEmpty());
    const QColor seen = middle(given);
    EXPECT_NEAR(seen.red(), last.red(), 2);
    EXPECT_NEAR(seen.green(), last.green(), 2);
    EXPECT_NEAR(seen.blue(), last.blue(), 2);
}

// The fusion tool would stretch them to the whole range of integers.
TEST_F(HandHeldTest, AlignedFloatsAreFusedIntoIntegersAsTheyAre) {
    std::vector<fs::path> shots;
    for (int i = 0; i < 2; ++i) {
        const Image bright = decodeImage(handHeldShots()[static_cast<std::size_t>(i)]);
        const std::vector<double> samples = samplesOf(bright);
        const Image dim = makeImage(
            bright.pixelsWide(), bright.pixelsHigh(), {3, false, SampleType::float32},
            [&](int x, int y, int s) {
                return 0.3 +
                       0.3 *
                           samples[static_cast<std::size_t>((y * bright.pixelsWide() + x) * 3 + s)];
            });
        shots.push_back(folder / ("float " + std::to_string(i) + ".tif"));
        saveImage(dim, shots.back());
    }
    windows->settingsPanel()->outputDepthMatrix()->button(1)->setChecked(true);
    dropAndWait(shots);
    align();
    EXPECT_THAT(alerts.texts(), IsEmpty());
    const Image fused = fuse("fused.tif");
    EXPECT_EQ(fused.format().type, SampleType::uint16);
    const QImage middle = fused.cropped(QRectF(300, 200, 300, 200), 300, 200).toScreen();
    int darkest = 255;
    int brightest = 0;
    for (int y = 0; y < middle.height(); ++y) {
        for (int x = 0; x < middle.width(); ++x) {
            const QColor pixel = middle.pixelColor(x, y);
            ASSERT_EQ(pixel.alpha(), 255);
            darkest = std::min(darkest, pixel.green());
            brightest = std::max(brightest, pixel.green());
        }
    }
    // Sharpening by the pyramid goes a little beyond.
    EXPECT_GT(darkest, 0.2 * 255);
    EXPECT_LT(brightest, 0.7 * 255);
}

// The tool takes a lens that it is not told for one of 50 degrees; this one is another.
TEST_F(HandHeldTest, TheToolIsToldTheLensThatTheFilesName) {
    dropAndWait(handHeldShots());
    align();
    EXPECT_EQ(readFile(alignedFieldOfViewFile()), "73.740\n");
    windows->sourcesWindow()->clearAllCellsAction(nullptr);
    dropAndWait(makeShots(2));  // they name no camera
    align();
    EXPECT_FALSE(fs::exists(alignedFieldOfViewFile()));
}

TEST_F(HandHeldTest, AnAlignedStackMayBeAlignedOnceMore) {
    dropAndWait(handHeldShots());
    align();
    align();
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(cell(2).urlToImageFile(), alignedImageFile(2));
    const std::vector<Image> after = images(3);
    constexpr int nineOfTen = (blocks * 9 + 9) / 10;
    EXPECT_THAT(blocksThatFit(after, commonArea(after)), ElementsAre(Ge(nineOfTen), Ge(nineOfTen)));
}

TEST_F(HandHeldTest, TheAlignedFileOfACellIsItsOwnPictureWhateverTheExposures) {
    std::vector<fs::path> shots = handHeldShots();
    std::rotate(shots.begin(), shots.begin() + 1, shots.end());  // middle, light, dark
    dropAndWait(shots);
    // The turns leave the middle covered.
    const auto brightness = [](const Image& image) {
        const auto samples = samplesOf(image.cropped(QRectF(225, 150, 450, 300), 450, 300));
        return std::accumulate(samples.begin(), samples.end(), 0.0) - 450 * 300;  // without alpha
    };
    std::vector<double> before;
    for (const Image& image : images(3))
        before.push_back(brightness(image));
    align();
    EXPECT_THAT(alerts.texts(), IsEmpty());
    for (int i = 0; i < 3; ++i) {
        const double after = brightness(cell(i).theImage());
        int nearest = 0;
        for (int k = 1; k < 3; ++k) {
            const auto distance = [&](int n) {
                return std::abs(std::log(after / before[static_cast<std::size_t>(n)]));
            };
            if (distance(k) < distance(nearest)) nearest = k;
        }
        EXPECT_EQ(nearest, i);
    }
}

TEST_F(HandHeldTest, ShotsWithoutAnyTextureAreToldAsAFailure) {
    for (const double grey : {0.3, 0.6}) {
        saveImage(makeImage(300, 200, {}, [grey](int, int, int) { return grey; }),
                  folder / (std::to_string(grey) + ".png"));
    }
    dropAndWait({folder / "0.300000.png", folder / "0.600000.png"});
    const Image before = cell(0).theImage();
    align();
    EXPECT_THAT(alerts.texts(), ElementsAre(loadingFailed));
    EXPECT_TRUE(cell(0).theImage().sharesPixelsWith(before));
    EXPECT_EQ(cell(0).urlToImageFile(), alignedImageFile(0));
    EXPECT_EQ(cell(1).urlToImageFile(), GetURLToTIFFedSource(1));
    EXPECT_EQ(log.count(complete), 1);
}

TEST_F(HandHeldTest, ShotsOfDifferentSizesAreToldAsAFailure) {
    saveImage(makeImage(300, 200, {}, sceneAt(1)), folder / "a.jpg");
    saveImage(makeImage(200, 150, {}, sceneAt(2)), folder / "b.jpg");
    dropAndWait({folder / "a.jpg", folder / "b.jpg"});
    alerts.forget();  // the fusion tool refuses them too
    align();
    EXPECT_GE(alerts.count(loadingFailed), 1);
    EXPECT_EQ(cell(1).urlToImageFile(), GetURLToTIFFedSource(1));
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_EQ(log.count(complete), 1);
}

TEST_F(HandHeldTest, SettingsThatTheToolRefusesAreToldAsAFailure) {
    dropAndWait(makeShots(2));
    gAA_GridSize = 0;
    align();
    EXPECT_THAT(alerts.texts(), ElementsAre(loadingFailed));
}

TEST_F(HandHeldTest, SixteenShotsAreAligned) {
    std::vector<fs::path> shots;
    std::vector<Image> poses;
    for (const fs::path& shot : handHeldShots())
        poses.push_back(decodeImage(shot).scaled(450, 300));
    for (int i = 0; i < sourceCellCount; ++i) {
        // To and fro, so that neighbours are never more than 2 EV apart.
        constexpr std::size_t order[] = {0, 1, 2, 1};
        shots.push_back(folder / ("shot " + std::to_string(i) + ".png"));
        saveImage(poses[order[i % 4]], shots.back());
    }
    dropAndWait(shots);
    align();
    EXPECT_THAT(alerts.texts(), IsEmpty());
    for (int i = 0; i < sourceCellCount; ++i) {
        EXPECT_EQ(cell(i).urlToImageFile(), alignedImageFile(i));
        EXPECT_EQ(cell(i).theImage().size(), QSizeF(450, 300));
    }
    EXPECT_FALSE(windows->previewWindow()->enfuseImage().isNull());
}

// Every switch and an odd number, as one line that the real tool takes.
TEST_F(HandHeldTest, EverySettingIsTakenByTheTool) {
    dropAndWait(handHeldShots());
    gAA_GridSize = 4;
    gAA_NumControlPoints = 13;
    gAA_AssumeFullFrameFisheye = gAA_OptimizeFOV = true;
    align();
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(readFile(alignedFieldOfViewFile()), "85.944\n") << "as a fisheye's";
}

}  // namespace lumaweave
