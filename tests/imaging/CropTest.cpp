// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>
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

constexpr int width = 20;
constexpr int height = 12;

double valueAt(int x, int y, int s) {
    return ((x * 7 + y * 13 + s * 31) % 97) / 96.0;
}

// What the crop of cropWidth x cropHeight pixels from (left, top) must be.
Image expectedCrop(const PixelFormat& format, int left, int top, int cropWidth, int cropHeight) {
    PixelFormat withAlpha = format;
    withAlpha.alpha = true;
    return makeImage(cropWidth, cropHeight, withAlpha, [&](int x, int y, int s) {
        const int fromX = left + x;
        const int fromY = top + y;
        if (fromX < 0 || fromX >= width || fromY < 0 || fromY >= height) return 0.0;
        return s == format.colours && !format.alpha ? 1.0 : valueAt(fromX, fromY, s);
    });
}

void expectCrop(const PixelFormat& format, int left, int top, int cropWidth, int cropHeight) {
    const Image source = makeImage(width, height, format, valueAt);
    const Image crop =
        source.cropped(QRectF(left, top, cropWidth, cropHeight), cropWidth, cropHeight);
    const Image expected = expectedCrop(format, left, top, cropWidth, cropHeight);
    EXPECT_EQ(crop.format(), expected.format());
    EXPECT_EQ(differenceBetween(crop, expected).largest, 0)
        << nameOf(format) << " at " << left << ' ' << top;
}

bool isTransparent(const Image& image) {
    const std::vector<double> samples = samplesOf(image);
    return image.format().alpha && !samples.empty() &&
           std::all_of(samples.begin(), samples.end(), [](double sample) { return sample == 0; });
}

}  // namespace

TEST(Crop, InsideThePictureEveryFormatStaysExact) {
    for (const PixelFormat& format : test::everyFormat()) {
        expectCrop(format, 3, 2, 8, 5);
        expectCrop(format, 0, 0, width, height);
        expectCrop(format, width - 1, height - 1, 1, 1);
    }
}

TEST(Crop, OverEveryEdgeAndCornerTheOutsideIsTransparent) {
    for (const PixelFormat& format : test::everyFormat()) {
        for (const int left : {-4, 6, width - 3}) {
            for (const int top : {-3, 4, height - 2})
                expectCrop(format, left, top, 8, 6);
        }
        // Larger than the picture on all sides.
        expectCrop(format, -5, -4, width + 11, height + 9);
    }
}

TEST(Crop, WhollyOutsideItIsTransparent) {
    for (const PixelFormat& format : test::everyFormat()) {
        for (const auto& [left, top] :
             {std::pair{-8, 0}, {width, 0}, {0, -6}, {0, height}, {-100, -100}, {100, 100}}) {
            expectCrop(format, left, top, 8, 6);
        }
    }
}

TEST(Crop, FarOutsideItIsTransparentToo) {
    const Image source = asymmetricPicture(width, height);
    constexpr double infinite = std::numeric_limits<double>::infinity();
    constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
    for (const double far : {1e6, 1e9, 3e9, 1e18, 1e300, infinite}) {
        for (const QPointF origin : {QPointF(far, 0), QPointF(-far, 0), QPointF(0, far),
                                     QPointF(0, -far), QPointF(-far, far)}) {
            const Image crop = source.cropped(QRectF(origin, QSizeF(8, 6)), 8, 6);
            EXPECT_EQ(crop.pixelsWide(), 8);
            EXPECT_EQ(crop.pixelsHigh(), 6);
            EXPECT_TRUE(isTransparent(crop)) << far;
        }
    }
    EXPECT_TRUE(isTransparent(source.cropped(QRectF(notANumber, 0, 8, 6), 8, 6)));
    EXPECT_TRUE(isTransparent(source.cropped(QRectF(0, notANumber, 8, 6), 8, 6)));
}

TEST(Crop, AFractionalOriginGoesToTheNearestPixel) {
    const Image source = makeImage(width, height, {}, valueAt);
    const auto expectOrigin = [&](double x, double y, int left, int top) {
        const Image crop = source.cropped(QRectF(x, y, 6, 4), 6, 4);
        EXPECT_EQ(differenceBetween(crop, expectedCrop({}, left, top, 6, 4)).largest, 0)
            << x << ' ' << y;
    };
    expectOrigin(2.49, 3.49, 2, 3);
    expectOrigin(2.51, 3.51, 3, 4);
    expectOrigin(2.5, 3.5, 3, 4);
    expectOrigin(-0.49, -0.49, 0, 0);
    expectOrigin(-0.51, -1.49, -1, -1);
}

TEST(Crop, TheSizeInPointsScalesTheRectangle) {
    Image source = makeImage(width, height, {}, valueAt);
    source.setSize(QSizeF(width / 2.0, height / 4.0));
    EXPECT_EQ(source.size(), QSizeF(10, 3));
    EXPECT_EQ(source.pixelsWide(), width);
    const Image crop = source.cropped(QRectF(2, 1, 3, 1), 6, 4);
    EXPECT_EQ(differenceBetween(crop, expectedCrop({}, 4, 4, 6, 4)).largest, 0);
    // The origin is rounded in pixels, not in points.
    const Image between = source.cropped(QRectF(2.3, 1.1, 3, 1), 6, 4);
    EXPECT_EQ(differenceBetween(between, expectedCrop({}, 5, 4, 6, 4)).largest, 0);
}

TEST(Crop, AnotherPixelSizeThanTheRectanglesScalesTheCrop) {
    for (const PixelFormat& format : test::everyFormat()) {
        const Image source = makeImage(width, height, format, valueAt);
        const Image crop = source.cropped(QRectF(2, 1, 12, 8), 6, 2);
        EXPECT_EQ(crop.pixelsWide(), 6);
        EXPECT_EQ(crop.pixelsHigh(), 2);
        const Image expected = expectedCrop(format, 2, 1, 12, 8).scaled(6, 2);
        EXPECT_EQ(differenceBetween(crop, expected).largest, 0) << nameOf(format);
    }
}

TEST(Crop, TheSourcesOwnAlphaStays) {
    const Image source = makeImage(4, 4, {3, true, SampleType::uint8},
                                   [](int x, int, int s) { return s == 3 ? x / 3.0 : 0.6; });
    const std::vector<double> samples = samplesOf(source.cropped(QRectF(0, 0, 4, 1), 4, 1));
    for (int x = 0; x < 4; ++x)
        EXPECT_NEAR(samples[static_cast<std::size_t>(x * 4 + 3)], x / 3.0, 1e-9);
}

TEST(Crop, ProfileAndResolutionStay) {
    PixelBuffer buffer(20, 10, {});
    buffer.description().colourProfile = test::builtInProfile("p3");
    buffer.description().pixelsPerMillimetre = 10;
    const Image crop = std::move(buffer).finish().cropped(QRectF(5, 5, 10, 10), 10, 10);
    EXPECT_EQ(crop.colourProfile(), test::builtInProfile("p3"));
    EXPECT_EQ(crop.pixels().pixelsPerMillimetre, 10);
}

TEST(Crop, OfNothingOrOfNoSizeIsNone) {
    EXPECT_TRUE(Image().cropped(QRectF(0, 0, 5, 5), 5, 5).isNull());
    const Image source = asymmetricPicture(width, height);
    EXPECT_TRUE(source.cropped(QRectF(0, 0, 5, 5), 0, 5).isNull());
    EXPECT_TRUE(source.cropped(QRectF(0, 0, 5, 5), 5, -1).isNull());
}

TEST(ImageValue, WithoutAPictureHasNoSize) {
    const Image none;
    EXPECT_TRUE(none.isNull());
    EXPECT_EQ(none.pixelsWide(), 0);
    EXPECT_EQ(none.pixelsHigh(), 0);
    EXPECT_TRUE(none.colourProfile().isEmpty());
    EXPECT_TRUE(none.toScreen().isNull());
}

TEST(ImageValue, ASizeInPointsBelongsToOneCopyOnly) {
    const Image first = asymmetricPicture(width, height);
    Image second = first;
    second.setSize(QSizeF(5, 3));
    EXPECT_EQ(first.size(), QSizeF(width, height));
    EXPECT_TRUE(second.sharesPixelsWith(first));
}

}  // namespace lumaweave
