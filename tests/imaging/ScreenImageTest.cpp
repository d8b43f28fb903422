// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "ImagingSupport.h"
#include "imaging/picture/ColourProfile.h"
#include "imaging/picture/PixelData.h"
#include "imaging/picture/ScreenImage.h"
#include "support/LogRecorder.h"

// Image::toScreen.

namespace lumaweave {

using test::builtInProfile;
using test::LogRecorder;
using test::makeImage;
using test::nameOf;

namespace {

using Colour = std::array<double, 3>;
using Matrix = std::array<Colour, 3>;

constexpr PixelFormat rgb8 = {3, false, SampleType::uint8};

Image withProfile(const Image& image, const QByteArray& profile) {
    PixelData description = image.pixels();
    description.colourProfile = profile;
    return Image(std::make_shared<const PixelData>(description));
}

// The sRGB tone curve, both ways, and a product, to compute what a colour must become.
double encoded(double linear) {
    const double light = std::clamp(linear, 0.0, 1.0);
    return light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}
double decoded(double value) {
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}
Colour operator*(const Matrix& matrix, const Colour& colour) {
    Colour result{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j)
            result[i] += matrix[i][j] * colour[j];
    }
    return result;
}

Matrix operator*(const Matrix& a, const Matrix& b) {
    Matrix result{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            for (std::size_t k = 0; k < 3; ++k)
                result[i][j] += a[i][k] * b[k][j];
        }
    }
    return result;
}
Matrix inverse(const Matrix& m) {
    const auto minor = [&m](std::size_t i, std::size_t j) {
        const std::size_t r = (i + 1) % 3, s = (i + 2) % 3, c = (j + 1) % 3, d = (j + 2) % 3;
        return m[r][c] * m[s][d] - m[r][d] * m[s][c];
    };
    const double determinant =
        m[0][0] * minor(0, 0) + m[0][1] * minor(0, 1) + m[0][2] * minor(0, 2);
    Matrix result{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j)
            result[j][i] = minor(i, j) / determinant;
    }
    return result;
}

// From linear Display P3 to linear sRGB; both have the same white.
constexpr Matrix p3ToSrgb = {{{1.2249401763, -0.2249401763, 0.0},
                              {-0.0420569547, 1.0420569547, 0.0},
                              {-0.0196375546, -0.0786360456, 1.0982736001}}};
// The colourants of a wider space than sRGB with the tone curve 563/256, relative to D50, and the
// way from there to linear sRGB.
constexpr test::Colourants wideColourants = {
    {0.60974, 0.31111, 0.01947}, {0.20528, 0.62567, 0.06087}, {0.14919, 0.06322, 0.74457}};
constexpr Matrix wideToXyz = {
    {{0.60974, 0.20528, 0.14919}, {0.31111, 0.62567, 0.06322}, {0.01947, 0.06087, 0.74457}}};
constexpr Matrix xyzToSrgb = {{{3.1338561, -1.6168667, -0.4906146},
                               {-0.9787684, 1.9161415, 0.0334540},
                               {0.0719453, -0.2289914, 1.4052427}}};
constexpr double wideGamma = 563.0 / 256;

// Colours that sRGB holds after the conversion, from dull to rather strong.
const std::vector<Colour> patches = {
    {0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}, {0.5, 0.5, 0.5},  {0.6, 0.5, 0.4},  {0.4, 0.6, 0.5},
    {0.3, 0.4, 0.6}, {0.7, 0.5, 0.5}, {0.2, 0.25, 0.2}, {0.9, 0.85, 0.7}, {0.05, 0.06, 0.08}};

// A picture that shows the patches from left to right, and the same on the screen.
Image patchPicture(const PixelFormat& format) {
    return makeImage(static_cast<int>(patches.size()), 3, format, [&format](int x, int, int s) {
        if (s == format.colours) return 0.5;
        return patches[static_cast<std::size_t>(x)][static_cast<std::size_t>(s)];
    });
}

template <typename Convert>
void expectPatches(const QImage& screen, const Convert& convert, double tolerance) {
    ASSERT_EQ(screen.width(), static_cast<int>(patches.size()));
    for (int x = 0; x < screen.width(); ++x) {
        const Colour expected = convert(patches[static_cast<std::size_t>(x)]);
        for (int y = 0; y < screen.height(); ++y) {
            const QColor pixel = screen.pixelColor(x, y);
            EXPECT_NEAR(pixel.red(), expected[0] * 255, tolerance) << "red of patch " << x;
            EXPECT_NEAR(pixel.green(), expected[1] * 255, tolerance) << "green of patch " << x;
            EXPECT_NEAR(pixel.blue(), expected[2] * 255, tolerance) << "blue of patch " << x;
        }
    }
}

Colour fromP3(const Colour& colour) {
    const Colour linear =
        p3ToSrgb * Colour{decoded(colour[0]), decoded(colour[1]), decoded(colour[2])};
    return {encoded(linear[0]), encoded(linear[1]), encoded(linear[2])};
}

Colour fromWide(const Colour& colour) {
    const Colour linear = xyzToSrgb * (wideToXyz * Colour{std::pow(colour[0], wideGamma),
                                                          std::pow(colour[1], wideGamma),
                                                          std::pow(colour[2], wideGamma)});
    return {encoded(linear[0]), encoded(linear[1]), encoded(linear[2])};
}

}  // namespace

TEST(ScreenImage, EightBitColoursStayExact) {
    const Image picture = test::asymmetricPicture(31, 17);
    const QImage screen = picture.toScreen();
    EXPECT_EQ(screen.format(), QImage::Format_RGBA8888);
    ASSERT_EQ(screen.size(), QSize(31, 17));
    const PixelData& pixels = picture.pixels();
    for (int y = 0; y < 17; ++y) {
        for (int x = 0; x < 31; ++x) {
            const unsigned char* pixel = pixels.row<unsigned char>(y) + x * 3;
            EXPECT_EQ(screen.pixelColor(x, y), QColor(pixel[0], pixel[1], pixel[2]));
        }
    }
}

TEST(ScreenImage, GreyBecomesThreeEqualColours) {
    for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
        const Image picture =
            makeImage(256, 1, {1, false, type}, [](int x, int, int) { return x / 255.0; });
        const QImage screen = picture.toScreen();
        for (int x = 0; x < 256; ++x)
            EXPECT_EQ(screen.pixelColor(x, 0), QColor(x, x, x));
    }
}

TEST(ScreenImage, SixteenBitsGoToTheNearestOfEight) {
    const Image picture = makeImage(256, 256, {1, false, SampleType::uint16},
                                    [](int x, int y, int) { return (y * 256 + x) / 65535.0; });
    const QImage screen = picture.toScreen();
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x)
            ASSERT_EQ(screen.pixelColor(x, y).red(), std::lround((y * 256 + x) / 257.0)) << x << y;
    }
}

TEST(ScreenImage, FloatsAreClampedAndWhatIsNoNumberIsBlack) {
    const std::vector<double> values = {-std::numeric_limits<double>::infinity(),
                                        -3,
                                        0,
                                        0.5,
                                        1,
                                        1.0001,
                                        70000,
                                        std::numeric_limits<double>::infinity(),
                                        std::numeric_limits<double>::quiet_NaN()};
    const std::vector<int> expected = {0, 0, 0, 128, 255, 255, 255, 255, 0};
    const Image picture =
        makeImage(static_cast<int>(values.size()), 2, {3, true, SampleType::float32},
                  [&values](int x, int, int) { return values[static_cast<std::size_t>(x)]; });
    for (const Image& image : {picture, withProfile(picture, builtInProfile("srgb"))}) {
        const QImage screen = image.toScreen();
        for (int x = 0; x < screen.width(); ++x) {
            const int value = expected[static_cast<std::size_t>(x)];
            const QColor pixel = screen.pixelColor(x, 1);
            // A conversion through a profile may round once more.
            EXPECT_NEAR(pixel.red(), value, image.colourProfile().isEmpty() ? 0 : 1) << x;
            EXPECT_NEAR(pixel.blue(), value, image.colourProfile().isEmpty() ? 0 : 1) << x;
            EXPECT_NEAR(pixel.alpha(), value, image.colourProfile().isEmpty() ? 0 : 1) << x;
        }
    }
}

TEST(ScreenImage, AlphaIsNotMultipliedIn) {
    for (const PixelFormat& format : test::everyFormat()) {
        for (const bool profile : {false, true}) {
            Image picture = makeImage(3, 2, format, [&format](int x, int, int s) {
                return s == format.colours ? x / 2.0 : 0.6;
            });
            if (profile) {
                picture = withProfile(
                    picture, format.colours == 3 ? builtInProfile("srgb") : test::greyProfile(2.2));
            }
            const QImage screen = picture.toScreen();
            EXPECT_EQ(screen.format(), QImage::Format_RGBA8888);
            for (int x = 0; x < 3; ++x) {
                const QColor pixel = screen.pixelColor(x, 1);
                EXPECT_NEAR(pixel.alphaF(), format.alpha ? static_cast<float>(x) / 2.0F : 1.0F,
                            1.01F / 255)
                    << nameOf(format);
                EXPECT_NEAR(pixel.green(), 153, profile && format.colours == 1 ? 3 : 1)
                    << nameOf(format);
            }
        }
    }
}

TEST(ScreenImage, DisplayP3IsConverted) {
    for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
        const Image picture = withProfile(patchPicture({3, false, type}), builtInProfile("p3"));
        expectPatches(picture.toScreen(), fromP3, 2);
    }
    // The conversion is one that can be seen.
    const QColor red =
        withProfile(makeImage(1, 1, rgb8, [](int, int, int s) { return s == 0 ? 0.7 : 0.4; }),
                    builtInProfile("p3"))
            .toScreen()
            .pixelColor(0, 0);
    EXPECT_GT(red.red(), 0.7 * 255 + 5);
}

TEST(ScreenImage, AWideSpaceWithAPlainToneCurveIsConverted) {
    const QByteArray profile = test::rgbProfile(wideColourants, wideGamma);
    for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
        for (const bool alpha : {false, true}) {
            const Image picture = withProfile(patchPicture({3, alpha, type}), profile);
            expectPatches(picture.toScreen(), fromWide, 2);
        }
    }
}

TEST(ScreenImage, GreyWithAnotherToneCurveIsConverted) {
    for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
        const Image picture = withProfile(
            makeImage(32, 1, {1, false, type}, [](int x, int, int) { return x / 31.0; }),
            test::greyProfile(1.0));
        const QImage screen = picture.toScreen();
        for (int x = 0; x < 32; ++x) {
            // The conversion starts from what the file stores of x / 31, in eight bits.
            const double stored =
                type == SampleType::uint8 ? std::round(x * 255 / 31.0) / 255 : x / 31.0;
            const QColor pixel = screen.pixelColor(x, 0);
            EXPECT_NEAR(pixel.red(), encoded(stored) * 255, 2) << x;
            EXPECT_NEAR(pixel.green(), pixel.red(), 1) << x;
            EXPECT_NEAR(pixel.blue(), pixel.red(), 1) << x;
        }
    }
}

TEST(ScreenImage, SrgbStaysWhatItIs) {
    const Image picture = withProfile(patchPicture(rgb8), builtInProfile("srgb"));
    expectPatches(
        picture.toScreen(), [](const Colour& colour) { return colour; }, 1.01);
}

TEST(ScreenImage, AProfileThatCannotBeUsedIsPassedOver) {
    for (const QByteArray& profile :
         {QByteArray("no profile"), QByteArray(1000, 'x'), builtInProfile("p3").left(200),
          builtInProfile("cmyk"), test::greyProfile(1.0)}) {
        const LogRecorder log;
        const Image picture = withProfile(patchPicture(rgb8), profile);
        expectPatches(
            picture.toScreen(), [](const Colour& colour) { return colour; }, 0.51);
        ASSERT_EQ(log.lines().size(), 1U) << profile.size();
        EXPECT_TRUE(log.lines().front().starts_with("Colour profile not used")) << profile.size();
    }
}

TEST(ScreenImage, AColourProfileOfAGreyPictureIsPassedOver) {
    const LogRecorder log;
    const Image picture = withProfile(
        makeImage(256, 1, {1, false, SampleType::uint8}, [](int x, int, int) { return x / 255.0; }),
        builtInProfile("p3"));
    const QImage screen = picture.toScreen();
    for (int x = 0; x < 256; ++x)
        EXPECT_EQ(screen.pixelColor(x, 0), QColor(x, x, x));
    EXPECT_EQ(log.lines().size(), 1U);
}

// Pictures for a screen that is not sRGB.
class ScreenOfItsOwn : public testing::Test {
  protected:
    ~ScreenOfItsOwn() override { setScreenProfile({}); }

    // The numbers with which the screen shows an sRGB colour, by its curves and colourants.
    static Colour onWideScreen(const Colour& colour) {
        const Colour light = inverse(xyzToSrgb * wideToXyz) *
                             Colour{decoded(colour[0]), decoded(colour[1]), decoded(colour[2])};
        const auto number = [](double value) { return std::pow(value, 1 / wideGamma); };
        return {number(light[0]), number(light[1]), number(light[2])};
    }
    const QByteArray wideScreen = test::rgbProfile(wideColourants, wideGamma);
};

TEST_F(ScreenOfItsOwn, PicturesWithoutAProfileAreConvertedFromSrgb) {
    setScreenProfile(wideScreen);
    for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
        for (const bool alpha : {false, true}) {
            const Image picture = patchPicture({3, alpha, type});
            expectPatches(picture.toScreen(), onWideScreen, 1.6);
            EXPECT_EQ(picture.toScreen().pixelColor(0, 0).alpha(), alpha ? 128 : 255);
        }
    }
}

// The curve of a screen is steep near black.
TEST_F(ScreenOfItsOwn, DarkShadesAreAsExactAsOthers) {
    setScreenProfile(wideScreen);
    for (const int colours : {1, 3}) {
        for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
            const Image ramp =
                makeImage(64, 1, {colours, false, type}, [](int x, int, int) { return x / 255.0; });
            const QImage screen = ramp.toScreen();
            for (int x = 0; x < 64; ++x) {
                const double expected = 255 * std::pow(decoded(x / 255.0), 1 / wideGamma);
                EXPECT_NEAR(screen.pixelColor(x, 0).green(), expected, 1.01) << x << ' ' << colours;
            }
        }
    }
}

TEST(ScreenImage, StrongColoursOfManyBitsAreExact) {
    const QByteArray profile = test::rgbProfile(wideColourants, wideGamma);
    const Image picture = withProfile(
        makeImage(64, 64, {3, false, SampleType::uint16},
                  [](int x, int y, int s) { return s == 0   ? x / 63.0
                                                   : s == 1 ? y / 63.0
                                                            : 0.2; }),
        profile);
    const QImage screen = picture.toScreen();
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 64; ++x) {
            const Colour expected = fromWide({x / 63.0, y / 63.0, 0.2});
            ASSERT_NEAR(screen.pixelColor(x, y).red(), 255 * expected[0], 1.5) << x << ' ' << y;
            ASSERT_NEAR(screen.pixelColor(x, y).green(), 255 * expected[1], 1.5) << x << ' ' << y;
            ASSERT_NEAR(screen.pixelColor(x, y).blue(), 255 * expected[2], 1.5) << x << ' ' << y;
        }
    }
}

TEST(ScreenImage, TellsHowFarItIs) {
    const Image picture = makeImage(2000, 6000, {1, false, SampleType::uint8},
                                    [](int x, int y, int) { return (x + y) % 256 / 255.0; });
    std::vector<unsigned char> rgba(std::size_t{4} * 2000 * 6000);
    std::vector<double> shares;
    picture.toScreen(rgba.data(), [&shares](double share) { shares.push_back(share); });
    ASSERT_FALSE(shares.empty());
    EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
    EXPECT_GT(shares.front(), 0);
    EXPECT_EQ(shares.back(), 1);
}

TEST_F(ScreenOfItsOwn, PicturesOfItsOwnColoursKeepTheirNumbers) {
    setScreenProfile(wideScreen);
    expectPatches(
        withProfile(patchPicture(rgb8), wideScreen).toScreen(),
        [](const Colour& colour) { return colour; }, 0.51);
}

TEST_F(ScreenOfItsOwn, ColoursThatSrgbCannotShowAreShown) {
    // A green of Display P3 that sRGB clips, and the wide space does not.
    const Colour green = {0.35, 0.9, 0.35};
    const Colour light = p3ToSrgb * Colour{decoded(green[0]), decoded(green[1]), decoded(green[2])};
    EXPECT_LT(light[0], 0);
    const Colour wide = inverse(xyzToSrgb * wideToXyz) * light;
    setScreenProfile(wideScreen);
    const QColor shown =
        withProfile(makeImage(1, 1, {3, false, SampleType::uint16},
                              [&](int, int, int s) { return green[static_cast<std::size_t>(s)]; }),
                    builtInProfile("p3"))
            .toScreen()
            .pixelColor(0, 0);
    EXPECT_NEAR(shown.red(), 255 * std::pow(wide[0], 1 / wideGamma), 1.6);
    EXPECT_NEAR(shown.green(), 255 * std::pow(wide[1], 1 / wideGamma), 1.6);
    EXPECT_NEAR(shown.blue(), 255 * std::pow(wide[2], 1 / wideGamma), 1.6);
}

TEST_F(ScreenOfItsOwn, GreyIsConvertedToo) {
    setScreenProfile(wideScreen);
    const Image picture =
        makeImage(32, 1, {1, false, SampleType::uint16}, [](int x, int, int) { return x / 31.0; });
    const QImage screen = picture.toScreen();
    for (int x = 0; x < 32; ++x) {
        const double expected = std::pow(decoded(x / 31.0), 1 / wideGamma);
        EXPECT_NEAR(screen.pixelColor(x, 0).red(), expected * 255, 2) << x;
        EXPECT_NEAR(screen.pixelColor(x, 0).blue(), expected * 255, 2) << x;
    }
}

TEST_F(ScreenOfItsOwn, APicturesProfileThatCannotBeUsedIsTakenAsSrgb) {
    setScreenProfile(wideScreen);
    const LogRecorder log;
    expectPatches(withProfile(patchPicture(rgb8), QByteArray(1000, 'x')).toScreen(), onWideScreen,
                  1.6);
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(ScreenOfItsOwn, AScreensProfileThatCannotBeUsedIsPassedOver) {
    for (const QByteArray& profile : {QByteArray("no profile"), wideScreen.left(300),
                                      builtInProfile("cmyk"), test::greyProfile(1.0)}) {
        const LogRecorder log;
        setScreenProfile(profile);
        ASSERT_EQ(log.lines().size(), 1U);
        EXPECT_TRUE(log.lines().front().starts_with("Colour profile of the screen not used: "));
        expectPatches(
            patchPicture(rgb8).toScreen(), [](const Colour& colour) { return colour; }, 0.51);
    }
}

}  // namespace lumaweave
