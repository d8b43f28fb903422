// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "ImagingSupport.h"
#include "imaging/picture/PixelData.h"

namespace lumaweave {

using test::asymmetricPicture;
using test::differenceBetween;
using test::makeImage;
using test::nameOf;
using test::samplesOf;

namespace {

constexpr PixelFormat greyFloat = {1, false, SampleType::float32};
constexpr PixelFormat rgbFloat = {3, false, SampleType::float32};

// One step of the format's samples, as a share of the full value; floats have rounding only.
double step(const PixelFormat& format) {
    switch (format.type) {
        case SampleType::uint8:
            return 1.0 / 255;
        case SampleType::uint16:
            return 1.0 / 65535;
        default:
            return 1e-5;
    }
}

std::vector<PixelFormat> opaqueFormats() {
    std::vector<PixelFormat> formats = test::everyFormat();
    std::erase_if(formats, [](const PixelFormat& format) { return format.alpha; });
    return formats;
}

// The mean of all samples s.
double meanOf(const Image& image, int s) {
    const std::vector<double> samples = samplesOf(image);
    const int perPixel = image.format().samples();
    double sum = 0;
    for (std::size_t i = static_cast<std::size_t>(s); i < samples.size();
         i += static_cast<std::size_t>(perPixel)) {
        sum += samples[i];
    }
    return sum * perPixel / static_cast<double>(samples.size());
}

}  // namespace

TEST(Scaling, ShrinkingByWholeFactorsGivesTheMeanOfEachBox) {
    for (const PixelFormat& format : opaqueFormats()) {
        for (const auto& [xFactor, yFactor] : {std::pair{2, 2}, {3, 5}, {1, 4}, {7, 1}}) {
            constexpr int width = 11;
            constexpr int height = 9;
            const Image source = asymmetricPicture(width * xFactor, height * yFactor, format);
            const std::vector<double> from = samplesOf(source);
            const int samples = format.samples();
            const Image expected =
                makeImage(width, height, greyFloat, [](int, int, int) { return 0; });
            const Image scaled = source.scaled(width, height);
            ASSERT_EQ(scaled.format(), format);
            ASSERT_EQ(scaled.pixelsWide(), expected.pixelsWide());
            ASSERT_EQ(scaled.pixelsHigh(), expected.pixelsHigh());
            const std::vector<double> to = samplesOf(scaled);
            for (int i = 0; i < width * height * samples; ++i) {
                const int s = i % samples;
                const int left = i / samples % width * xFactor;
                const int top = i / samples / width * yFactor;
                double sum = 0;
                for (int y = top; y < top + yFactor; ++y) {
                    for (int x = left; x < left + xFactor; ++x) {
                        const int at = (y * width * xFactor + x) * samples + s;
                        sum += from[static_cast<std::size_t>(at)];
                    }
                }
                // The nearest sample value to the mean, ties either way.
                EXPECT_NEAR(to[static_cast<std::size_t>(i)], sum / (xFactor * yFactor),
                            step(format) * 0.501)
                    << nameOf(format) << " sample " << i;
            }
        }
    }
}

TEST(Scaling, AConstantPictureStaysConstant) {
    for (const PixelFormat& format : test::everyFormat()) {
        for (const double value : {0.0, 0.2, 0.61, 1.0}) {
            const Image source =
                makeImage(35, 21, format, [value](int, int, int) { return value; });
            const double stored = samplesOf(source).front();
            for (const auto& [width, height] : {std::pair{5, 3},
                                                {7, 21},
                                                {34, 20},
                                                {13, 11},
                                                {1, 1},
                                                {105, 63},
                                                {36, 22},
                                                {3, 50}}) {
                for (const double sample : samplesOf(source.scaled(width, height))) {
                    ASSERT_NEAR(sample, stored, format.type == SampleType::float32 ? 1e-6 : 0)
                        << nameOf(format) << ' ' << value << ' ' << width;
                }
            }
        }
    }
}

TEST(Scaling, AConstantPictureOfManyPixelsStaysConstant) {
    for (const SampleType type : {SampleType::uint8, SampleType::uint16}) {
        for (const auto& [width, height] : {std::pair{1, 70001}, {70001, 1}, {999, 777}}) {
            for (const double value : {0.3, 1.0}) {
                const Image source = makeImage(width, height, {1, false, type},
                                               [value](int, int, int) { return value; });
                // What adding so many floats may cost, and half a step.
                const double tolerance = (width + height) * 6e-8 + 0.5 * step({1, false, type});
                EXPECT_NEAR(samplesOf(source.scaled(1, 1)).front(), samplesOf(source).front(),
                            tolerance)
                    << width << ' ' << value;
            }
        }
    }
}

TEST(Scaling, ShrinkingByFractionsKeepsTheMean) {
    for (const PixelFormat& format : opaqueFormats()) {
        const Image source = asymmetricPicture(97, 61, format);
        for (const auto& [width, height] : {std::pair{40, 25}, {96, 60}, {13, 59}, {97, 7}}) {
            const Image scaled = source.scaled(width, height);
            for (int s = 0; s < format.samples(); ++s) {
                // Each sample is rounded; over many of them that evens out.
                EXPECT_NEAR(meanOf(scaled, s), meanOf(source, s), step(format) * 0.25)
                    << nameOf(format) << ' ' << width;
            }
        }
    }
}

TEST(Scaling, ShrinkingByAFractionSharesThePixelsOut) {
    // Three pixels on two: each takes one and a half.
    const Image source =
        makeImage(3, 1, greyFloat, [](int x, int, int) { return x == 1 ? 0.6 : 0.3 * x; });
    const std::vector<double> result = samplesOf(source.scaled(2, 1));
    EXPECT_NEAR(result[0], (0.0 + 0.5 * 0.6) / 1.5, 1e-6);
    EXPECT_NEAR(result[1], (0.5 * 0.6 + 0.6) / 1.5, 1e-6);
}

TEST(Scaling, AShrunkPictureIsNotShifted) {
    // A picture that is its own mirror image stays so.
    const Image source = makeImage(31, 31, rgbFloat, [](int x, int y, int) {
        return 1.0 / (1 + std::abs(x - 15) + 2 * std::abs(y - 15));
    });
    for (const int size : {30, 17, 8, 50}) {
        const std::vector<double> result = samplesOf(source.scaled(size, size));
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) {
                const auto here = static_cast<std::size_t>((y * size + x) * 3);
                const auto there =
                    static_cast<std::size_t>(((size - 1 - y) * size + size - 1 - x) * 3);
                EXPECT_NEAR(result[here], result[there], 1e-5) << size;
            }
        }
    }
}

TEST(Scaling, EnlargingAGradientStaysMonotoneAndWithinIt) {
    for (const PixelFormat& format : opaqueFormats()) {
        const Image source = makeImage(16, 4, format, [](int x, int, int) { return x / 15.0; });
        for (const auto& [width, height] : {std::pair{64, 16}, {50, 4}, {17, 9}}) {
            const std::vector<double> result = samplesOf(source.scaled(width, height));
            const int samples = format.samples();
            for (int y = 0; y < height; ++y) {
                for (int x = 1; x < width; ++x) {
                    const auto here = static_cast<std::size_t>((y * width + x) * samples);
                    EXPECT_GE(result[here], result[here - static_cast<std::size_t>(samples)]);
                }
            }
            EXPECT_EQ(*std::min_element(result.begin(), result.end()), 0.0);
            EXPECT_EQ(*std::max_element(result.begin(), result.end()), 1.0);
        }
    }
}

TEST(Scaling, EnlargingInterpolatesBetweenThePixels) {
    const Image source = makeImage(2, 1, greyFloat, [](int x, int, int) { return x; });
    const std::vector<double> result = samplesOf(source.scaled(4, 1));
    EXPECT_EQ(result, (std::vector<double>{0, 0.25, 0.75, 1}));
}

TEST(Scaling, OneAxisMayGrowWhileTheOtherShrinks) {
    const Image source =
        makeImage(4, 4, greyFloat, [](int x, int y, int) { return x / 4.0 + (y % 2) * 0.2; });
    const Image result = source.scaled(8, 2);
    ASSERT_EQ(result.pixelsWide(), 8);
    ASSERT_EQ(result.pixelsHigh(), 2);
    const std::vector<double> samples = samplesOf(result);
    EXPECT_NEAR(samples[0], 0.1, 1e-6);
    EXPECT_NEAR(samples[1], 0.25 * 0.25 + 0.1, 1e-6);
    EXPECT_NEAR(samples[15], 0.75 + 0.1, 1e-6);
}

TEST(Scaling, TransparentNeighboursDoNotDarkenAnEdge) {
    for (const PixelFormat& format : test::everyFormat()) {
        if (!format.alpha) continue;
        // Bright at the left, transparent black at the right.
        const int alpha = format.colours;
        const Image source = makeImage(60, 8, format, [alpha](int x, int, int s) {
            if (x >= 31) return 0.0;
            return s == alpha ? 1.0 : 0.8;
        });
        for (const int width : {30, 20, 7, 121, 200}) {
            const std::vector<double> result = samplesOf(source.scaled(width, 4));
            bool sawEdge = false;
            for (std::size_t i = 0; i < result.size(); i += static_cast<std::size_t>(alpha + 1)) {
                const double opacity = result[i + static_cast<std::size_t>(alpha)];
                sawEdge = sawEdge || (opacity > 0.1 && opacity < 0.9);
                if (opacity < 0.02) continue;
                EXPECT_NEAR(result[i], 0.8, 1.01 / 255) << nameOf(format) << ' ' << width;
            }
            EXPECT_TRUE(sawEdge || width == 60);
        }
    }
}

TEST(Scaling, AlphaItselfIsAveraged) {
    const Image source = makeImage(2, 2, {3, true, SampleType::float32}, [](int x, int y, int s) {
        return s == 3 ? (x + y == 0 ? 1.0 : 0.5) : (x + y == 0 ? 0.8 : 0.2);
    });
    const std::vector<double> result = samplesOf(source.scaled(1, 1));
    EXPECT_NEAR(result[3], 2.5 / 4, 1e-6);
    EXPECT_NEAR(result[0], (0.8 * 1 + 3 * 0.2 * 0.5) / 2.5, 1e-6);
}

TEST(Scaling, WhollyTransparentPicturesGiveNumbers) {
    for (const PixelFormat& format : test::everyFormat()) {
        if (!format.alpha) continue;
        const Image source = makeImage(
            9, 9, format, [&format](int, int, int s) { return s == format.colours ? 0.0 : 0.7; });
        for (const int size : {4, 1, 20}) {
            for (const double sample : samplesOf(source.scaled(size, size)))
                EXPECT_EQ(sample, 0) << nameOf(format);
        }
    }
}

TEST(Scaling, OnePixelBecomesAnySizeAndAnySizeBecomesOne) {
    const Image one = makeImage(1, 1, {}, [](int, int, int s) { return s / 5.0; });
    const Image grown = one.scaled(7, 3);
    EXPECT_EQ(differenceBetween(grown, makeImage(7, 3, {}, [](int, int, int s) { return s / 5.0; }))
                  .largest,
              0);
    const Image source = asymmetricPicture(13, 8, rgbFloat);
    const Image shrunk = source.scaled(1, 1);
    for (int s = 0; s < 3; ++s)
        EXPECT_NEAR(meanOf(shrunk, s), meanOf(source, s), 1e-5);
}

TEST(Scaling, ToItsOwnSizeAPictureStaysAsItIs) {
    for (const PixelFormat& format : opaqueFormats()) {
        const Image source = asymmetricPicture(33, 21, format);
        EXPECT_EQ(differenceBetween(source.scaled(33, 21), source).largest, 0) << nameOf(format);
    }
}

TEST(Scaling, SizesBelowOneCountAsOne) {
    const Image source = asymmetricPicture(33, 21);
    const Image scaled = source.scaled(0, -5);
    EXPECT_EQ(scaled.pixelsWide(), 1);
    EXPECT_EQ(scaled.pixelsHigh(), 1);
    EXPECT_EQ(scaled.size(), QSizeF(1, 1));
}

TEST(Scaling, ProfileAndDepthStay) {
    PixelBuffer buffer(20, 10, {3, false, SampleType::uint16});
    buffer.description().colourProfile = test::builtInProfile("p3");
    buffer.description().pixelsPerMillimetre = 10;
    const Image scaled = std::move(buffer).finish().scaled(10, 5);
    EXPECT_EQ(scaled.colourProfile(), test::builtInProfile("p3"));
    EXPECT_EQ(scaled.pixels().pixelsPerMillimetre, 10);
    EXPECT_EQ(scaled.format().type, SampleType::uint16);
}

TEST(Scaling, NoPictureStaysNone) {
    EXPECT_TRUE(Image().scaled(10, 10).isNull());
}

}  // namespace lumaweave
