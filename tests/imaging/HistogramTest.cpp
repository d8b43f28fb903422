// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/picture/Histogram.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "imaging/picture/PixelData.h"
#include "imaging/picture/ScreenImage.h"
#include "support/LogRecorder.h"
#include "support/Pictures.h"

namespace lumaweave {

using test::LogRecorder;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Bytes = std::vector<unsigned char>;

constexpr auto warning = "crap, bad rowbytes!";

RgbaBitmap packed(const Bytes& bytes, int width, int height) {
    return {bytes.data(), bytes.size(), width, height, 4 * static_cast<std::size_t>(width)};
}

// The bin of a single pixel.
int binOf(const Bytes& pixel, int binCount) {
    const std::vector<float> bins = luminanceHistogram(packed(pixel, 1, 1), binCount);
    int result = -1;
    for (int i = 0; i < binCount; ++i) {
        if (bins[static_cast<std::size_t>(i)] == 0) continue;
        EXPECT_EQ(result, -1) << "one pixel in two bins";
        EXPECT_EQ(bins[static_cast<std::size_t>(i)], 1);
        result = i;
    }
    return result;
}

// Every step written out, in single precision and one by one.
std::vector<float> countedOneByOne(const Bytes& bytes, int binCount) {
    std::vector<float> bins(static_cast<std::size_t>(binCount) + 1, 0.0F);
    for (std::size_t i = 0; i + 3 < bytes.size(); i += 4) {
        volatile float red = static_cast<float>(bytes[i]) / 255.0F;
        red = red * 0.299F;
        volatile float green = static_cast<float>(bytes[i + 1]) / 255.0F;
        green = green * 0.586F;
        volatile float blue = static_cast<float>(bytes[i + 2]) / 255.0F;
        blue = blue * 0.114F;
        volatile float luminance = red + green;
        luminance = luminance + blue;
        volatile float scaled = luminance * static_cast<float>(binCount);
        int index = static_cast<int>(scaled);
        if (static_cast<float>(index) > static_cast<float>(binCount)) index = binCount;
        bins[static_cast<std::size_t>(index)] += 1.0F;
    }
    EXPECT_EQ(bins.back(), 0) << "no byte reaches the bin behind the last";
    bins.pop_back();
    return bins;
}

}  // namespace

TEST(Histogram, WhiteFallsIntoTheLastOf256Bins) {
    EXPECT_EQ(binOf({255, 255, 255, 255}, 256), 255);
}

TEST(Histogram, WhiteLiesJustBelowTheEnd) {
    EXPECT_EQ(binOf({255, 255, 255, 255}, 1), 0);
    EXPECT_EQ(binOf({255, 255, 255, 255}, 10000), 9990);
}

TEST(Histogram, BlackFallsIntoTheFirstBin) {
    EXPECT_EQ(binOf({0, 0, 0, 255}, 256), 0);
}

TEST(Histogram, TheFirstByteIsRedAndTheThirdBlue) {
    EXPECT_EQ(binOf({255, 0, 0, 255}, 100), 29);
    EXPECT_EQ(binOf({0, 255, 0, 255}, 100), 58);
    EXPECT_EQ(binOf({0, 0, 255, 255}, 100), 11);
}

TEST(Histogram, GreenWeighs586AndNot587) {
    EXPECT_EQ(binOf({0, 255, 0, 255}, 2000), 1172);
}

TEST(Histogram, AlphaDoesNotCount) {
    for (const unsigned char alpha : Bytes{0, 1, 128, 255})
        EXPECT_EQ(binOf({200, 100, 50, alpha}, 100), binOf({200, 100, 50, 77}, 100));
}

TEST(Histogram, EveryColourFallsWhereSinglePrecisionPutsIt) {
    Bytes bytes;
    bytes.reserve(std::size_t{4} << 21);
    // Every second value of each byte, and all their neighbours at the ends.
    for (int r = 0; r < 256; r += r < 250 ? 2 : 1) {
        for (int g = 0; g < 256; g += g < 250 ? 2 : 1) {
            for (int b = 0; b < 256; b += b < 250 ? 2 : 1) {
                for (const int value : {r, g, b, 255})
                    bytes.push_back(static_cast<unsigned char>(value));
            }
        }
    }
    const int pixels = static_cast<int>(bytes.size() / 4);
    for (const int binCount : {1, 2, 255, 256, 432, 1999}) {
        EXPECT_EQ(luminanceHistogram(packed(bytes, pixels, 1), binCount),
                  countedOneByOne(bytes, binCount))
            << binCount;
    }
}

TEST(Histogram, RandomPicturesOfAnySizeAgreeWithCountingOneByOne) {
    std::mt19937 random(7);
    for (const auto& [width, height] : {std::pair(1, 1), {1, 7}, {13, 1}, {31, 17}, {640, 427}}) {
        Bytes bytes(static_cast<std::size_t>(4 * width * height));
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(random() % 256);
        for (const int binCount : {3, 96, 257, 1000, 4096}) {
            EXPECT_EQ(luminanceHistogram(packed(bytes, width, height), binCount),
                      countedOneByOne(bytes, binCount));
        }
    }
}

// 16777216 + 1 is 16777216 in single precision.
TEST(Histogram, ABinStandsStillAtTwoToThe24) {
    constexpr int width = 4096;
    constexpr int height = 4100;
    Bytes bytes(std::size_t{4} * width * height, 255);
    // As many in one bin as fit, and a few in another.
    for (std::size_t i = 0; i < 12; ++i)
        bytes[i] = 0;
    const std::vector<float> bins = luminanceHistogram(packed(bytes, width, height), 2);
    EXPECT_THAT(bins, ElementsAre(3.0F, 16777216.0F));
    EXPECT_EQ(bins, countedOneByOne(bytes, 2));
}

TEST(Histogram, APicturesValuesAreCountedAsBytes) {
    // More rows than are taken at a time, and not a multiple of them.
    for (const int height : {1, 16, 37}) {
        const Image picture =
            test::makeImage(211, height, {3, true, SampleType::uint16}, test::sceneAt(1));
        const QImage bytes = fileValues(picture.pixels());
        const RgbaBitmap bitmap = {bytes.constBits(), static_cast<std::size_t>(bytes.sizeInBytes()),
                                   211, height, 4 * 211};
        EXPECT_EQ(luminanceHistogram(picture, 432), luminanceHistogram(bitmap, 432));
    }
    EXPECT_THAT(luminanceHistogram(Image(), 3), Each(0.0F));
    EXPECT_THAT(luminanceHistogram(Image(), -1), IsEmpty());
}

TEST(Histogram, RowsWithoutAGapAreNotWarnedOf) {
    const LogRecorder log;
    [[maybe_unused]] const auto bins = luminanceHistogram(packed(Bytes(24), 3, 2), 4);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Histogram, PaddedRowsAreWarnedOfAndReadAsIfPacked) {
    const LogRecorder log;
    // Two rows of two black pixels, each with a white one as padding: read as one run, the fourth
    // pixel is the second row's first, and the third the padding.
    const Bytes bytes = {0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255, 255,
                         0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255, 255};
    const auto bins = luminanceHistogram({bytes.data(), bytes.size(), 2, 2, 12}, 2);
    EXPECT_THAT(bins, ElementsAre(3.0F, 1.0F));
    EXPECT_THAT(log.lines(), ElementsAre(warning));
}

TEST(Histogram, PixelsOfThreeBytesAreWarnedOfAndReadAsFourUpToTheEndOfTheBuffer) {
    const LogRecorder log;
    // Eight pixels of three bytes hold six of four. The vector ends where the pixels end: the
    // address sanitizer finds a byte that is read behind them.
    const Bytes bytes(24, 255);
    const auto bins = luminanceHistogram({bytes.data(), bytes.size(), 4, 2, 12}, 3);
    EXPECT_THAT(bins, ElementsAre(0.0F, 0.0F, 6.0F));
    EXPECT_THAT(log.lines(), ElementsAre(warning));
}

TEST(Histogram, APixelOfWhichOnlyAPartIsThereIsNotRead) {
    const Bytes bytes(7, 255);
    EXPECT_THAT(luminanceHistogram(packed(bytes, 2, 1), 1), ElementsAre(1.0F));
}

TEST(Histogram, TheNumberOfPixelsIsA32BitProduct) {
    const Bytes bytes(40, 255);
    const auto counted = [&bytes](int width, int height) {
        return luminanceHistogram(packed(bytes, width, height), 1).front();
    };
    EXPECT_EQ(counted(65536, 65536), 0) << "the product is 0";
    EXPECT_EQ(counted(50000, 50000), 0) << "the product is negative";
    EXPECT_EQ(counted(65536, 65537), 10) << "the product is 65536, the buffer holds 10";
    EXPECT_EQ(counted(0, 10), 0);
    EXPECT_EQ(counted(10, 0), 0);
    EXPECT_EQ(counted(1, 10), 10);
}

TEST(Histogram, WithoutBinsNothingIsCounted) {
    const Bytes bytes(40, 255);
    EXPECT_THAT(luminanceHistogram(packed(bytes, 10, 1), 0), IsEmpty());
    EXPECT_THAT(luminanceHistogram(packed(bytes, 10, 1), -3), IsEmpty());
    std::vector<float> none;
    normaliseHistogram(none, 100);
    EXPECT_THAT(none, IsEmpty());
}

TEST(Histogram, TheTallestBarBecomesAsHighAsTheView) {
    std::vector<float> bins = {1, 4, 0, 2};
    normaliseHistogram(bins, 57);
    EXPECT_THAT(bins, ElementsAre(14.25F, 57.0F, 0.0F, 28.5F));
    normaliseHistogram(bins, 0);
    EXPECT_THAT(bins, Each(0.0F));
}

TEST(Histogram, BarsAreMultipliedByARoundedScale) {
    std::vector<float> bins = {7, 3};
    normaliseHistogram(bins, 100);
    const float scale = 100.0F / 7.0F;
    EXPECT_THAT(bins, ElementsAre(7.0F * scale, 3.0F * scale));
}

TEST(Histogram, APictureWithoutPixelsHasBarsThatAreNoNumbers) {
    std::vector<float> bins = luminanceHistogram(RgbaBitmap{}, 5);
    EXPECT_THAT(bins, Each(0.0F));
    EXPECT_EQ(bins.size(), 5U);
    normaliseHistogram(bins, 40);
    for (const float bin : bins)
        EXPECT_FALSE(std::isfinite(bin));
}

}  // namespace lumaweave
