// SPDX-License-Identifier: GPL-3.0-or-later

// What the viewer shows, beside a ray cast of the same view that knows nothing of spheres, strips
// and matrices: it asks for each pixel which way one looks through it, and what the picture has
// there.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <ostream>

#include "PanoramaSupport.h"
#include "imaging/picture/PixelData.h"

namespace lumaweave {

using namespace test;

namespace {

constexpr int width = 2048;
constexpr int height = 1024;
constexpr double pi = std::numbers::pi;

struct Direction {
    double x, y, z;
};

// A seamless pattern for directions: waves through space, other ones for each colour. Where the
// picture's pixels are widest, the finest wave is 16 of them long.
double wave(const Direction& d, double pixels, double x, double y, double z, double phase) {
    const double perRadian = width / pixels;  // width / pixels waves fit into 2 pi radians
    const double length = std::sqrt(x * x + y * y + z * z);
    return std::sin(perRadian * (x * d.x + y * d.y + z * d.z) / length + phase);
}

double pattern(const Direction& d, int colour) {
    const double phase = 2.1 * colour;
    return 0.5 + 0.18 * wave(d, 700, 1, 0.4, -0.7, phase) +
           0.12 * wave(d, 300, -0.3, 1, 0.5, 1.7 * phase) +
           0.07 * wave(d, 60, 0.8, 0.6 - 0.3 * colour, 1, phase) +
           0.12 * wave(d, 16, 1 - 0.5 * colour, 0.2, 0.4 * colour, phase);
}

Image patternPicture() {
    return makeByRows(width, height, {}, [](int y, unsigned char* to) {
        const double latitude = pi * (0.5 - (y + 0.5) / height);
        for (int x = 0; x < width; ++x) {
            const double longitude = 2 * pi * (x + 0.5) / width;
            const Direction d = {std::cos(latitude) * std::cos(longitude), std::sin(latitude),
                                 std::cos(latitude) * std::sin(longitude)};
            for (int c = 0; c < 3; ++c) {
                *to++ = static_cast<unsigned char>(
                    std::lround(255 * std::clamp(pattern(d, c), 0.0, 1.0)));
            }
        }
    });
}

// The picture with red, green and blue swapped around in one of its 32 sections.
Image withSectionChanged(const Image& image, int section) {
    return makeByRows(width, height, {}, [&](int y, unsigned char* to) {
        const unsigned char* from = image.pixels().row<unsigned char>(y);
        std::copy_n(from, 3 * width, to);
        if (y / (height / 4) != section / 8) return;
        for (int x = section % 8 * (width / 8); x < (section % 8 + 1) * (width / 8); ++x)
            std::rotate(to + 3 * x, to + 3 * x + 1, to + 3 * x + 3);
    });
}

// The picture's colour at a place between its pixels, from 0 to 255.
std::array<double, 3> colourAt(const Image& image, double x, double y) {
    const double left = std::floor(x);
    const double top = std::floor(y);
    std::array<double, 3> colour{};
    for (const int dy : {0, 1}) {
        for (const int dx : {0, 1}) {
            const int column = (static_cast<int>(left) + dx + width) % width;
            const int row = std::clamp(static_cast<int>(top) + dy, 0, height - 1);
            const double share =
                (dx == 1 ? x - left : 1 - (x - left)) * (dy == 1 ? y - top : 1 - (y - top));
            const unsigned char* pixel =
                image.pixels().row<unsigned char>(row) + std::ptrdiff_t{3} * column;
            for (std::size_t c = 0; c < 3; ++c)
                colour.at(c) += share * pixel[c];
        }
    }
    return colour;
}

struct View {
    const char* name;
    float pitch, yaw;
    QSize size;
};

std::ostream& operator<<(std::ostream& stream, const View& view) {
    return stream << view.name;
}

// The direction through a point of a view of 85 degrees from top to bottom, for a viewer who has
// turned to the right by the yaw and then looks down by the pitch.
Direction directionThrough(const View& view, double px, double py) {
    const double half = std::tan(85.0 / 2 * pi / 180);
    const double right =
        (2 * px / view.size.width() - 1) * half * view.size.width() / view.size.height();
    const double up = (1 - 2 * py / view.size.height()) * half;
    const double pitch = static_cast<double>(view.pitch) * pi / 180;
    const double ahead = std::cos(pitch) + up * std::sin(pitch);
    const double y = up * std::cos(pitch) - std::sin(pitch);
    // Ahead is the longitude of three quarters of the picture's width.
    const double heading = 1.5 * pi + static_cast<double>(view.yaw) * pi / 180;
    return {ahead * std::cos(heading) - right * std::sin(heading), y,
            ahead * std::sin(heading) + right * std::cos(heading)};
}

std::array<double, 3> rayCast(const Image& image, const View& view, double px, double py) {
    const Direction d = directionThrough(view, px, py);
    double longitude = std::atan2(d.z, d.x);
    if (longitude < 0) longitude += 2 * pi;
    const double latitude = std::atan2(d.y, std::hypot(d.x, d.z));
    return colourAt(image, longitude / (2 * pi) * width - 0.5,
                    (0.5 - latitude / pi) * height - 0.5);
}

struct Comparison {
    double mean = 0;     // of all pixels and colours, as a part of the full range
    double largest = 0;  // of any pixel's any colour
    bool green = false;  // some pixel has the colour behind the sphere
};

Comparison compare(const QImage& shown, const Image& image, const View& view) {
    Comparison result;
    for (int y = 0; y < shown.height(); ++y) {
        for (int x = 0; x < shown.width(); ++x) {
            const QRgb pixel = shown.pixel(x, y);
            const std::array<double, 3> expected = rayCast(image, view, x + 0.5, y + 0.5);
            const std::array<int, 3> found = {qRed(pixel), qGreen(pixel), qBlue(pixel)};
            for (std::size_t c = 0; c < 3; ++c) {
                const double off = std::abs(found.at(c) - expected.at(c)) / 255;
                result.mean += off;
                result.largest = std::max(result.largest, off);
            }
            result.green |= found == std::array<int, 3>{0, 255, 0};
        }
    }
    result.mean /= 3.0 * shown.width() * shown.height();
    return result;
}

constexpr double largestMean = 0.005;
constexpr double largestOfAll = 0.06;

class RenderedTruth : public testing::TestWithParam<View> {
  protected:
    static Comparison render(const Image& shown, const Image& expected) {
        const View& view = GetParam();
        const OpenViewer viewer(shown, view.size);
        viewer.lookAt(view.pitch, view.yaw);
        const QImage frame = viewer.view().grabFramebuffer();
        EXPECT_EQ(frame.size(), view.size);
        const Comparison result = compare(frame, expected, view);
        std::printf("%s: mean %.3f %%, largest %.2f %%\n", view.name, 100 * result.mean,
                    100 * result.largest);
        return result;
    }
};

}  // namespace

TEST_P(RenderedTruth, TheViewIsThatOfARayCast) {
    const Image picture = patternPicture();
    const Comparison result = render(picture, picture);
    EXPECT_LE(result.mean, largestMean);
    EXPECT_LE(result.largest, largestOfAll);
    EXPECT_FALSE(result.green);
}

INSTANTIATE_TEST_SUITE_P(
    Views, RenderedTruth,
    testing::Values(
        View{"start", 0, 0, {800, 600}}, View{"turned", 0, 37.2F, {640, 480}},
        View{"border", 0, 90, {800, 600}}, View{"borderFromAbove", 35.2F, 95.2F, {500, 500}},
        View{"upAndBack", -30, 180, {640, 480}}, View{"manyTurns", 12, -1000, {640, 480}},
        View{"poleBelow", 90, 0, {800, 600}}, View{"poleAbove", -90, 0, {800, 600}},
        View{"poleBelowTurned", 90, 61.2F, {600, 600}},
        View{"nearlyPoleAbove", -80, 200, {640, 480}}, View{"tall", 20, -60, {300, 900}},
        View{"wide", -15, 140, {1500, 300}}, View{"odd", 5.2F, 271.2F, {301, 299}}),
    [](const auto& tested) { return std::string(tested.param.name); });

// The check sees a mistake in one section in any view that shows it.
class RenderedMistake : public RenderedTruth {};

TEST_P(RenderedMistake, ASectionWithItsColoursChangedIsFound) {
    const Image picture = patternPicture();
    // The section to the right of the start view's centre, above the horizon.
    const Comparison result = render(withSectionChanged(picture, 14), picture);
    EXPECT_GT(result.mean, largestMean);
    EXPECT_GT(result.largest, largestOfAll);
}

INSTANTIATE_TEST_SUITE_P(Views, RenderedMistake,
                         testing::Values(View{"start", 0, 0, {800, 600}},
                                         View{"turned", -20, 37.2F, {640, 480}},
                                         View{"atTheEdge", 0, -40, {800, 600}}),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace lumaweave
