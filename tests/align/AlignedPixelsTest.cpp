// SPDX-License-Identifier: GPL-3.0-or-later

// What becomes of aligned pictures: they carry alpha where the turn uncovered pixels, and must take
// no memory of their own.

#include <gmock/gmock.h>

#include <algorithm>

#include "align/AlignCommand.h"
#include "align/AlignFixture.h"
#include "imaging/decoding/ImageDecoder.h"
#include "preview/PreviewWindow.h"
#include "sources/SourceCellImageView.h"
#include "sources/SourceCellViewController.h"
#include "stack/SharedState.h"
#include "stack/WorkingFiles.h"
#include "support/Colours.h"
#include "support/PrivateMemory.h"
#include "widgets/ImageView.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::IsEmpty;

using AlignedPixelsTest = AlignTest;

class UncoveredEdgeTest : public AlignedPixelsTest {
  protected:
    static constexpr int width = 1200;
    static constexpr int height = 800;
    static constexpr int uncovered = 211;  // columns at the left; odd at every scale
    static constexpr double shade = 0.6;

    // Two shots of one even shade; the second is black and transparent at its left.
    void loadAndAlign() {
        PixelFormat format;
        format.alpha = true;
        const auto value = [](int x, int, int s, int left) {
            if (x < left) return 0.0;
            return s == 3 ? 1.0 : shade;
        };
        saveCompressedTiff(makeImage(width, height, format,
                                     [&](int x, int y, int s) { return value(x, y, s, 0); }),
                           folder / "first.tif");
        saveCompressedTiff(
            makeImage(width, height, format,
                      [&](int x, int y, int s) { return value(x, y, s, uncovered); }),
            folder / "second.tif");
        dropAndWait(makeShots(2, width, height));
        replaceAlignTool("cp '" + (folder / "first.tif").native() + "' \"$(alignedName 0)\"\n" +
                         "cp '" + (folder / "second.tif").native() + "' \"$(alignedName 1)\"\n");
        align();
        EXPECT_THAT(alerts.texts(), IsEmpty());
    }
    // The darkest colour of all pixels that are not wholly transparent.
    static double darkestSeen(const Image& image) {
        const auto step = static_cast<std::size_t>(image.format().samples());
        const bool alpha = image.format().alpha;
        const std::vector<double> samples = samplesOf(image);
        double darkest = 1;
        for (std::size_t i = 0; i < samples.size(); i += step) {
            if (alpha && samples[i + step - 1] == 0) continue;
            for (std::size_t s = 0; s < 3; ++s)
                darkest = std::min(darkest, samples[i + s]);
        }
        return darkest;
    }
    static bool hasTransparentPixels(const Image& image) {
        const auto step = static_cast<std::size_t>(image.format().samples());
        const std::vector<double> samples = samplesOf(image);
        for (std::size_t i = step - 1; image.format().alpha && i < samples.size(); i += step) {
            if (samples[i] == 0) return true;
        }
        return false;
    }
    // One step of 8 bits for the rounding of the scaler, one for the dither of the fusion tool.
    static constexpr double tolerance = 2.5 / 255;
};

TEST_F(UncoveredEdgeTest, TheScaledCopyHasNoDarkFringe) {
    loadAndAlign();
    const Image scaled = decodeImage(GetURLToScaledSourceFile(1));
    EXPECT_TRUE(hasTransparentPixels(scaled));
    EXPECT_NEAR(darkestSeen(scaled), shade, tolerance);
}

TEST_F(UncoveredEdgeTest, TheThumbnailHasNoDarkFringe) {
    loadAndAlign();
    const QImage thumbnail = cell(1).cellImageView()->image();
    int transparent = 0;
    for (int y = 0; y < thumbnail.height(); ++y) {
        for (int x = 0; x < thumbnail.width(); ++x) {
            const QColor pixel = thumbnail.pixelColor(x, y);
            if (pixel.alpha() == 0) {
                ++transparent;
            } else {
                ASSERT_NEAR(pixel.red(), shade * 255, 2.5) << x << ", " << y;
            }
        }
    }
    EXPECT_GT(transparent, 0);
    // As it stands on the screen, over the ground of the cell.
    const QImage screen = cell(1).cellImageView()->grab().toImage();
    int dark = 0;
    for (int y = 0; y < screen.height(); ++y) {
        for (int x = 0; x < screen.width(); ++x)
            dark += screen.pixelColor(x, y).lightnessF() < 0.45F ? 1 : 0;
    }
    EXPECT_EQ(dark, 0);
}

TEST_F(UncoveredEdgeTest, TheDetailCropAndItsFusionHaveNoDarkFringe) {
    loadAndAlign();
    gDetailCoord = {uncovered, height / 2.0};
    windows->previewWindow()->createDetailImages();
    ASSERT_TRUE(waitForBackgroundTasks());
    const Image crop = decodeImage(GetURLToDetailImageFile(1));
    EXPECT_TRUE(hasTransparentPixels(crop));
    EXPECT_NEAR(darkestSeen(crop), shade, tolerance);
    // The first shot covers what the second does not.
    const Image fused = decodeImage(enfusedDetailFile());
    EXPECT_NEAR(darkestSeen(fused), shade, tolerance);
    const QImage shown = windows->previewWindow()->detailView()->image();
    EXPECT_NEAR(middleOf(shown).red(), shade * 255, 2.5);
}

TEST_F(UncoveredEdgeTest, ThePreviewAndTheFullSizeResultHaveNoDarkFringe) {
    loadAndAlign();
    const Image preview = windows->previewWindow()->enfuseImage();
    EXPECT_FALSE(hasTransparentPixels(preview)) << "the first shot covers all";
    EXPECT_NEAR(darkestSeen(preview), shade, tolerance);
    fuseFullSize(folder / "fused.tif");
    const Image fused = decodeImage(folder / "fused.tif");
    EXPECT_EQ(fused.size(), QSizeF(width, height));
    EXPECT_FALSE(hasTransparentPixels(fused));
    EXPECT_NEAR(darkestSeen(fused), shade, tolerance);
}

TEST_F(AlignedPixelsTest, TakeNoPrivateMemory) {
    if (sanitized) GTEST_SKIP() << "only without sanitizers";
    constexpr int width = 2400;
    constexpr int height = 1600;
    constexpr int shots = 6;
    PixelFormat format;
    format.alpha = true;
    saveCompressedTiff(makeImage(width, height, format,
                                 [scene = sceneAt(1)](int x, int y, int s) {
                                     return s == 3 ? 1.0 : scene(x, y, s);
                                 }),
                       folder / "aligned.tif");
    dropAndWait(makeShots(shots, width, height));
    std::string script;
    for (int i = 0; i < shots; ++i) {
        script += "cp '" + (folder / "aligned.tif").native() + "' \"$(alignedName " +
                  std::to_string(i) + ")\"\n";
    }
    replaceAlignTool(script);
    const long long before = privateMemory();
    align();
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_TRUE(cell(shots - 1).theImage().format().alpha);
    // The pixels of all are 92 MB.
    constexpr long long pixels = 4LL * width * height * shots;
    EXPECT_LT(privateMemory() - before, pixels / 10);
}

}  // namespace lumaweave
