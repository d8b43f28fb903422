// SPDX-License-Identifier: GPL-3.0-or-later
#include "preview/HistogramView.h"

#include <gmock/gmock.h>

#include <QCheckBox>
#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "imaging/picture/Histogram.h"
#include "imaging/picture/PixelData.h"
#include "imaging/picture/ScreenImage.h"
#include "platform/Log.h"
#include "preview/PreviewWindow.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "support/AlertTexts.h"
#include "support/FakeTools.h"
#include "support/FormatFixtures.h"
#include "support/WindowsFixture.h"

namespace lumaweave {

using namespace test;
using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const QColor ground(200, 30, 60);

// One pixel of each grey from 0 to `count` - 1.
Image greys(int count, const PixelFormat& format = {}) {
    return makeImage(count, 1, format, [](int x, int, int) { return x / 255.0; });
}

// The bars of the picture's own values.
std::vector<float> expectedBars(const Image& image, int width, int height) {
    const QImage bytes = fileValues(image.pixels());
    std::vector<float> bins = luminanceHistogram(
        {bytes.constBits(), static_cast<std::size_t>(bytes.sizeInBytes()), bytes.width(),
         bytes.height(), static_cast<std::size_t>(bytes.bytesPerLine())},
        width);
    normaliseHistogram(bins, static_cast<float>(height));
    return bins;
}

}  // namespace

class HistogramViewTest : public testing::Test {
  protected:
    HistogramViewTest() {
        view.setMinimumSize(0, 0);
        view.resize(256, 100);
    }
    // What the view paints on its window's ground.
    QImage painted(const QRegion& region = {}) {
        QImage image(view.size(), QImage::Format_RGB32);
        image.fill(ground);
        view.render(&image, {}, region, QWidget::DrawChildren);
        return image;
    }
    // How many pixels of a column are white, from the bottom without a gap; -1 where there is a
    // gap or another colour.
    static int barIn(const QImage& image, int x) {
        int height = 0;
        for (int y = image.height() - 1; y >= 0; --y) {
            const QColor colour = image.pixelColor(x, y);
            if (colour == Qt::white && height == image.height() - 1 - y) {
                ++height;
            } else if (colour != Qt::black) {
                return -1;
            }
        }
        return height;
    }

    HistogramView view;
};

TEST_F(HistogramViewTest, BeforeTheFirstPictureNothingIsDrawn) {
    EXPECT_FALSE(view.histogramData().has_value());
    QImage untouched(view.size(), QImage::Format_RGB32);
    untouched.fill(ground);
    EXPECT_EQ(painted(), untouched);
}

TEST_F(HistogramViewTest, AViewOf256PointsHas256Bars) {
    view.createHistogramForImage(makeImage(4, 3, {}, [](int, int, int) { return 1.0; }));
    ASSERT_TRUE(view.histogramData().has_value());
    const std::vector<float>& bars = *view.histogramData();
    ASSERT_THAT(bars, SizeIs(256));
    EXPECT_EQ(bars[255], 100) << "white is the last, and as high as the view";
    EXPECT_EQ(bars[254], 0);
}

TEST_F(HistogramViewTest, EveryBarIsAWhiteColumnOfItsHeightOnBlack) {
    // Grey i is there i / 2 + 1 times.
    const Image picture =
        makeImage(256, 128, {}, [](int x, int y, int) { return y <= x / 2 ? x / 255.0 : 0.0; });
    view.createHistogramForImage(picture);
    const std::vector<float>& bars = *view.histogramData();
    EXPECT_EQ(bars, expectedBars(picture, 256, 100));
    const QImage image = painted();
    for (int x = 0; x < 256; ++x) {
        const int height = barIn(image, x);
        EXPECT_NE(height, -1) << x;
        EXPECT_NEAR(height, static_cast<double>(bars[static_cast<std::size_t>(x)]), 1) << x;
    }
    EXPECT_EQ(barIn(image, 0), 100) << "black, of which there is most";
}

TEST_F(HistogramViewTest, NextToAHighBarNothingIsTinged) {
    view.createHistogramForImage(makeImage(1, 1, {}, [](int, int, int) { return 0.5; }));
    const QImage image = painted();
    int white = 0;
    for (int x = 0; x < 256; ++x) {
        EXPECT_NE(barIn(image, x), -1);
        if (barIn(image, x) > 0) ++white;
    }
    EXPECT_EQ(white, 1);
}

TEST_F(HistogramViewTest, OnlyTheDirtyPartIsFilled) {
    view.createHistogramForImage(greys(1));
    const QImage image = painted(QRect(50, 20, 60, 30));
    EXPECT_EQ(image.pixelColor(0, 0), QColor(Qt::black));
    EXPECT_EQ(image.pixelColor(59, 29), QColor(Qt::black));
    EXPECT_EQ(image.pixelColor(60, 29), ground);
    EXPECT_EQ(image.pixelColor(59, 30), ground);
}

TEST_F(HistogramViewTest, APictureWithoutPixelsIsBlackWithoutBars) {
    view.createHistogramForImage({});
    ASSERT_THAT(*view.histogramData(), SizeIs(256));
    for (const float bar : *view.histogramData())
        EXPECT_FALSE(std::isfinite(bar));
    QImage black(view.size(), QImage::Format_RGB32);
    black.fill(Qt::black);
    EXPECT_EQ(painted(), black);
}

TEST_F(HistogramViewTest, WithoutWidthNothingIsCountedAndTheViewIsBlackAllTheSame) {
    view.resize(0, 100);
    view.createHistogramForImage(greys(256));
    ASSERT_TRUE(view.histogramData().has_value());
    EXPECT_THAT(*view.histogramData(), IsEmpty());
    view.resize(30, 100);
    QImage black(view.size(), QImage::Format_RGB32);
    black.fill(Qt::black);
    EXPECT_EQ(painted(), black);
}

TEST_F(HistogramViewTest, WithoutHeightTheBarsHaveNone) {
    view.resize(256, 0);
    view.createHistogramForImage(greys(256));
    EXPECT_THAT(*view.histogramData(), Each(0.0F));
}

TEST_F(HistogramViewTest, AWiderViewHasNoMoreBarsThanWereCounted) {
    view.createHistogramForImage(greys(256));
    view.resize(400, 100);
    ASSERT_THAT(*view.histogramData(), SizeIs(256)) << "a resize counts nothing anew";
    const QImage image = painted();
    EXPECT_GT(barIn(image, 255), 0);
    for (int x = 256; x < 400; ++x)
        EXPECT_EQ(barIn(image, x), 0) << x;
}

TEST_F(HistogramViewTest, ANarrowerOrLowerViewShowsWhatItHasRoomFor) {
    view.createHistogramForImage(greys(256));
    const QImage before = painted();
    view.resize(100, 40);
    const QImage image = painted();
    for (int x = 0; x < 100; ++x)
        EXPECT_EQ(barIn(image, x), std::min(40, barIn(before, x))) << x;
}

TEST_F(HistogramViewTest, TheNextPictureReplacesTheBars) {
    view.createHistogramForImage(greys(256));
    view.resize(64, 50);
    const Image white = makeImage(2, 2, {}, [](int, int, int) { return 1.0; });
    view.createHistogramForImage(white);
    EXPECT_EQ(*view.histogramData(), expectedBars(white, 64, 50));
    view.awakeFromNib();
    EXPECT_FALSE(view.histogramData().has_value());
}

TEST_F(HistogramViewTest, EveryDepthAndGreyIsCountedAsEightBits) {
    const Image picture = makeImage(256, 40, {}, sceneAt(1));
    view.createHistogramForImage(picture);
    const std::vector<float> expected = *view.histogramData();
    const QImage bytes = fileValues(picture.pixels());
    for (const PixelFormat& format : {PixelFormat{3, true, SampleType::uint8},
                                      {3, false, SampleType::uint16},
                                      {3, true, SampleType::uint16},
                                      {3, false, SampleType::float32}}) {
        view.createHistogramForImage(makeImage(256, 40, format, [&bytes](int x, int y, int s) {
            const QColor colour = bytes.pixelColor(x, y);
            return (s == 0   ? colour.red()
                    : s == 1 ? colour.green()
                    : s == 2 ? colour.blue()
                             : 77) /
                   255.0;
        }));
        EXPECT_EQ(*view.histogramData(), expected);
    }
    for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
        view.createHistogramForImage(greys(256, {1, false, type}));
        EXPECT_EQ(*view.histogramData(), expectedBars(greys(256), 256, 100));
    }
}

class HistogramInProgramTest : public WindowsTest {
  protected:
    HistogramInProgramTest() : view(*windows->previewWindow()->histogramView()) {}
    std::vector<float> ofThePreview() {
        return expectedBars(windows->previewWindow()->enfuseImage(), view.width(), view.height());
    }

    HistogramView& view;
};

TEST_F(HistogramInProgramTest, StandsInThePreviewWindowEmptyAtFirst) {
    EXPECT_EQ(windows->previewWindow()->findChild<HistogramView*>("histogramView"), &view);
    EXPECT_TRUE(view.isVisible());
    EXPECT_FALSE(view.toolTip().isEmpty());
    EXPECT_FALSE(view.histogramData().has_value());
}

TEST_F(HistogramInProgramTest, ShowsEachPreviewBeforeItsDetailIsFused) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 3));
    ASSERT_TRUE(view.histogramData().has_value());
    const std::vector<float> first = *view.histogramData();
    EXPECT_EQ(first, ofThePreview());
    copyWithTool();
    std::vector<float> atTheDetail;
    setLogSink([&](std::string_view line) {
        if (line == "Creating Detail Images...") atTheDetail = *view.histogramData();
    });
    cell(2).useCheckBox()->click();
    ASSERT_TRUE(waitForBackgroundTasks());
    setLogSink({});
    EXPECT_EQ(*view.histogramData(), ofThePreview());
    EXPECT_NE(*view.histogramData(), first);
    EXPECT_EQ(atTheDetail, *view.histogramData());
}

TEST_F(HistogramInProgramTest, FollowsAResizeWithTheNextPreview) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 2));
    const std::size_t before = view.histogramData()->size();
    bool shown = false;
    QObject::connect(windows->previewWindow(), &PreviewWindow::previewShown,
                     [&shown] { shown = true; });
    windows->resize(windows->size() + QSize(100, 0));
    EXPECT_TRUE(waitUntil([&shown] { return shown; }));
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_GT(view.histogramData()->size(), before);
    EXPECT_EQ(*view.histogramData(), ofThePreview());
}

TEST_F(HistogramInProgramTest, StaysThatOfTheLastPreviewWhenTheStackIsCleared) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 2));
    const std::vector<float> before = *view.histogramData();
    windows->sourcesWindow()->clearAllCellsAction(nullptr);
    EXPECT_EQ(*view.histogramData(), before);
}

TEST_F(HistogramInProgramTest, AFailedPreviewLeavesTheHistogram) {
    dropAndWait(makeBracket(folder.path(), 300, 200, 2));
    const std::vector<float> before = *view.histogramData();
    replaceFusionTool(fail);
    cell(0).useCheckBox()->click();
    cell(0).useCheckBox()->click();
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_THAT(alerts.texts(), testing::Contains(previewNotFound));
    EXPECT_EQ(*view.histogramData(), before);
}

// The values in the file count, not those that the profile makes of them for the screen.
TEST_F(HistogramInProgramTest, CountsTheValuesOfTheFileAlsoOfAWideProfile) {
    dropTwoOf(
        withProfile(plainPicture(300, 200, std::array{0.78, 0.3, 0.3}), profileOf(displayP3Space)));
    EXPECT_FALSE(windows->previewWindow()->enfuseImage().colourProfile().isEmpty());
    const std::vector<float>& bars = *view.histogramData();
    const float luminance = 199 / 255.0F * 0.299F + 77 / 255.0F * (0.586F + 0.114F);
    const auto highest = std::max_element(bars.begin(), bars.end()) - bars.begin();
    EXPECT_NEAR(static_cast<double>(highest),
                static_cast<double>(luminance) * static_cast<double>(bars.size()), 3);
}

}  // namespace lumaweave
