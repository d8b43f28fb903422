// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/picture/ScreenParts.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "ImagingSupport.h"
#include "imaging/picture/PixelData.h"
#include "imaging/picture/ScreenImage.h"

// Parts of a picture for the screen, and what they are made with: Image::scaledPart,
// Image::thinned. Also a picture's values as bytes.

namespace lumaweave {

using test::asymmetricPicture;
using test::builtInProfile;
using test::differenceBetween;
using test::everyFormat;
using test::makeImage;
using test::nameOf;
using test::samplesOf;

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();

Image withProfile(const Image& image, const QByteArray& profile) {
    PixelData description = image.pixels();
    description.colourProfile = profile;
    return Image(std::make_shared<const PixelData>(description));
}

// The part of a picture, pixel by pixel.
Image plainPart(const Image& image, const QRect& area) {
    const PixelData& from = image.pixels();
    PixelBuffer part(area.width(), area.height(), image.format());
    const int pixelBytes = image.format().bytesPerPixel();
    for (int y = 0; y < area.height(); ++y) {
        const auto* row = from.row<std::byte>(area.y() + y) + area.x() * pixelBytes;
        std::copy_n(row, area.width() * pixelBytes, part.row<std::byte>(y));
    }
    return std::move(part).finish();
}

// The largest difference between the whole picture scaled and the same put together from tiles.
double seams(const Image& image, QSize size, int tileSide) {
    const Image whole = image.scaled(size.width(), size.height());
    const double xScale = static_cast<double>(image.pixelsWide()) / size.width();
    const double yScale = static_cast<double>(image.pixelsHigh()) / size.height();
    double largest = 0;
    for (int y = 0; y < size.height(); y += tileSide) {
        for (int x = 0; x < size.width(); x += tileSide) {
            const QRect tile = QRect(x, y, tileSide, tileSide) & QRect(QPoint(0, 0), size);
            const Image part =
                image.scaledPart(QRectF(tile.x() * xScale, tile.y() * yScale, tile.width() * xScale,
                                        tile.height() * yScale),
                                 tile.width(), tile.height());
            largest = std::max(largest, differenceBetween(part, plainPart(whole, tile)).largest);
        }
    }
    return largest;
}

}  // namespace

TEST(ScaledPart, AtItsOwnSizeKeepsEveryPixel) {
    for (const PixelFormat& format : everyFormat()) {
        const Image picture = asymmetricPicture(41, 29, format);
        for (const QRect area : {QRect(0, 0, 41, 29), QRect(5, 7, 20, 11), QRect(40, 28, 1, 1)}) {
            const Image part = picture.scaledPart(area, area.width(), area.height());
            EXPECT_EQ(differenceBetween(part, plainPart(picture, area)).largest, 0)
                << nameOf(format);
        }
    }
}

TEST(ScaledPart, TilesJoinToTheScaledPictureWithoutASeam) {
    for (const PixelFormat& format : everyFormat()) {
        const Image picture = asymmetricPicture(301, 197, format);
        // Shrinking, enlarging, one axis each, and by almost nothing.
        for (const QSize size :
             {QSize(100, 65), QSize(37, 150), QSize(420, 280), QSize(300, 196), QSize(500, 90)}) {
            // Tiles begin at positions that round differently: by far less than one step of 16
            // bits, or by one where that is just enough for the next.
            const double step = format.type == SampleType::uint8 ? 1.001 / 255 : 1.001 / 65535;
            EXPECT_LE(seams(picture, size, 32), step) << nameOf(format) << size.width();
        }
    }
}

TEST(ScaledPart, KeepsProfileAndKind) {
    const Image picture =
        withProfile(asymmetricPicture(40, 30, {3, true, SampleType::uint16}), "profile");
    for (const Image& part :
         {picture.scaledPart({1, 2, 10, 10}, 10, 10), picture.scaledPart({1, 2, 10, 10}, 4, 7)}) {
        EXPECT_EQ(part.format(), picture.format());
        EXPECT_EQ(part.colourProfile(), picture.colourProfile());
    }
}

TEST(ScaledPart, OfNothingIsNothing) {
    const Image picture = asymmetricPicture(10, 10);
    EXPECT_TRUE(Image().scaledPart({0, 0, 1, 1}, 1, 1).isNull());
    EXPECT_TRUE(picture.scaledPart({20, 20, 5, 5}, 5, 5).isNull());
    EXPECT_TRUE(picture.scaledPart({0, 0, 0, 5}, 5, 5).isNull());
    EXPECT_TRUE(picture.scaledPart({0, 0, 5, 5}, 0, 5).isNull());
    EXPECT_TRUE(picture.scaledPart({0, 0, infinite, 5}, -1, 5).isNull());
}

TEST(Thinned, TakesThePixelInTheMiddleOfEachStep) {
    for (const PixelFormat& format : everyFormat()) {
        const Image picture = asymmetricPicture(90, 60, format);
        const Image thin = picture.thinned(30, 20);
        ASSERT_EQ(thin.size(), QSizeF(30, 20));
        for (int y = 0; y < 20; y += 7) {
            for (int x = 0; x < 30; x += 7) {
                EXPECT_EQ(differenceBetween(plainPart(thin, {x, y, 1, 1}),
                                            plainPart(picture, {3 * x + 1, 3 * y + 1, 1, 1}))
                              .largest,
                          0)
                    << nameOf(format);
            }
        }
    }
}

TEST(Thinned, NeverGrowsAndNeverVanishes) {
    const Image picture = asymmetricPicture(9, 6);
    EXPECT_EQ(differenceBetween(picture.thinned(900, 600), picture).largest, 0);
    EXPECT_EQ(picture.thinned(0, -5).size(), QSizeF(1, 1));
    EXPECT_TRUE(Image().thinned(3, 3).isNull());
}

TEST(FileValues, AreNotConvertedByTheProfile) {
    const Image picture = asymmetricPicture(31, 17);
    const QImage plain = fileValues(picture.pixels());
    EXPECT_EQ(plain.format(), QImage::Format_RGBA8888);
    EXPECT_EQ(plain, picture.toScreen());
    const Image wide = withProfile(picture, builtInProfile("p3"));
    EXPECT_EQ(fileValues(wide.pixels()), plain);
    EXPECT_NE(wide.toScreen(), plain) << "the profile makes a difference";
}

TEST(FileValues, AreFourBytesAPixelAtEveryDepth) {
    for (const PixelFormat& format : everyFormat()) {
        const Image picture = makeImage(256, 2, format, [&format](int x, int, int s) {
            return s == format.colours ? 0.4 : (s == 1 ? 255 - x : x) / 255.0;
        });
        const QImage bytes = fileValues(picture.pixels());
        EXPECT_EQ(bytes.bytesPerLine(), 4 * 256);
        for (int x = 0; x < 256; ++x) {
            const uchar* pixel = bytes.constScanLine(1) + 4 * x;
            EXPECT_EQ(pixel[0], x) << nameOf(format);
            EXPECT_EQ(pixel[1], format.colours == 3 ? 255 - x : x) << nameOf(format);
            EXPECT_EQ(pixel[2], x) << nameOf(format);
            EXPECT_EQ(pixel[3], format.alpha ? 102 : 255) << nameOf(format);
        }
    }
}

TEST(ScreenParts, AreTheScaledPartsInScreenColours) {
    for (const PixelFormat& format : everyFormat()) {
        for (const bool profile : {false, true}) {
            Image picture = asymmetricPicture(120, 80, format);
            if (profile) {
                picture = withProfile(
                    picture, format.colours == 3 ? builtInProfile("p3") : test::greyProfile(1.0));
            }
            // Of several sizes, one of them empty.
            const std::vector<ScreenPart> parts = {{{0, 0, 40, 40}, {40, 40}},
                                                   {{40, 0, 80, 40}, {40, 20}},
                                                   {{200, 200, 10, 10}, {10, 10}},
                                                   {{10.5, 20.25, 30, 20}, {60, 40}}};
            const std::vector<QImage> images = screenParts(picture, parts);
            ASSERT_EQ(images.size(), parts.size());
            EXPECT_TRUE(images[2].isNull());
            for (std::size_t i = 0; i < parts.size(); ++i) {
                if (i == 2) continue;
                const QImage expected = picture
                                            .scaledPart(parts[i].area, parts[i].pixels.width(),
                                                        parts[i].pixels.height())
                                            .toScreen()
                                            .convertToFormat(images[i].format());
                EXPECT_EQ(images[i], expected) << nameOf(format) << i;
                EXPECT_EQ(images[i].format(), format.alpha ? QImage::Format_ARGB32_Premultiplied
                                                           : QImage::Format_RGB32);
            }
        }
    }
}

TEST(ScreenParts, OfNothingAreNothing) {
    EXPECT_THAT(screenParts({}, {}), testing::IsEmpty());
    const auto ofNull = screenParts({}, {{{0, 0, 1, 1}, {1, 1}}});
    ASSERT_EQ(ofNull.size(), 1U);
    EXPECT_TRUE(ofNull.front().isNull());
    const auto outside = screenParts(asymmetricPicture(4, 4), {{{9, 9, 1, 1}, {1, 1}}});
    EXPECT_TRUE(outside.front().isNull());
}

}  // namespace lumaweave
