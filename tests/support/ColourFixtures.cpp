// SPDX-License-Identifier: GPL-3.0-or-later
#include <lcms2.h>

#include <cmath>
#include <stdexcept>

#include "imaging/picture/PixelData.h"
#include "support/FormatFixtures.h"

// Colour spaces: their profiles, and their arithmetic.

namespace lumaweave::test {

namespace {

using Matrix = std::array<std::array<double, 3>, 3>;
using Vector = std::array<double, 3>;

Vector operator*(const Matrix& matrix, const Vector& vector) {
    Vector result{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j)
            result[i] += matrix[i][j] * vector[j];
    }
    return result;
}

Matrix inverse(const Matrix& m) {
    Matrix result{};
    double determinant = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            const std::size_t a = (j + 1) % 3, b = (j + 2) % 3, c = (i + 1) % 3, d = (i + 2) % 3;
            result[i][j] = m[a][c] * m[b][d] - m[a][d] * m[b][c];
        }
    }
    for (std::size_t i = 0; i < 3; ++i)
        determinant += m[0][i] * result[i][0];
    for (auto& row : result) {
        for (double& number : row)
            number /= determinant;
    }
    return result;
}

Vector xyzOf(double x, double y) {
    return {x / y, 1, (1 - x - y) / y};
}

// From linear RGB to XYZ, with the space's own white.
Matrix toXyz(const RgbSpace& space) {
    Matrix columns{};
    for (std::size_t c = 0; c < 3; ++c) {
        const Vector xyz = xyzOf(space.primaries[2 * c], space.primaries[2 * c + 1]);
        for (std::size_t i = 0; i < 3; ++i)
            columns[i][c] = xyz[i];
    }
    const Vector scale = inverse(columns) * xyzOf(space.white[0], space.white[1]);
    for (auto& row : columns) {
        for (std::size_t c = 0; c < 3; ++c)
            row[c] *= scale[c];
    }
    return columns;
}

Vector adapted(const Vector& xyz, const std::array<double, 2>& from,
               const std::array<double, 2>& to) {
    constexpr Matrix bradford = {
        {{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};
    const Vector fromCones = bradford * xyzOf(from[0], from[1]);
    const Vector toCones = bradford * xyzOf(to[0], to[1]);
    Vector cones = bradford * xyz;
    for (std::size_t i = 0; i < 3; ++i)
        cones[i] *= toCones[i] / fromCones[i];
    return inverse(bradford) * cones;
}

QByteArray saved(cmsHPROFILE profile) {
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    QByteArray bytes(static_cast<qsizetype>(size), '\0');
    const bool done = profile != nullptr && cmsSaveProfileToMem(profile, bytes.data(), &size) != 0;
    cmsCloseProfile(profile);
    if (!done) throw std::runtime_error("no profile");
    // Without the time of making, so that they are the same every time.
    return bytes.replace(24, 12, QByteArray(12, '\0'));
}

QByteArray rgbProfileOf(const RgbSpace& space, cmsToneCurve* curve) {
    const auto& p = space.primaries;
    const cmsCIExyY white = {space.white[0], space.white[1], 1};
    const cmsCIExyYTRIPLE colours = {{p[0], p[1], 1}, {p[2], p[3], 1}, {p[4], p[5], 1}};
    cmsToneCurve* curves[] = {curve, curve, curve};
    QByteArray bytes = saved(cmsCreateRGBProfile(&white, &colours, curves));
    cmsFreeToneCurve(curve);
    return bytes;
}

}  // namespace

double srgbEncoded(double light) {
    return light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}
double srgbDecoded(double value) {
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

QByteArray profileOf(const RgbSpace& space) {
    constexpr double curve[] = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
    return rgbProfileOf(space, space.gamma == 0 ? cmsBuildParametricToneCurve(nullptr, 4, curve)
                                                : cmsBuildGamma(nullptr, space.gamma));
}

QByteArray linearProfileOf(const RgbSpace& space) {
    return rgbProfileOf(space, cmsBuildGamma(nullptr, 1));
}

QByteArray greyProfileOf(double gamma) {
    cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
    QByteArray bytes = saved(cmsCreateGrayProfile(cmsD50_xyY(), curve));
    cmsFreeToneCurve(curve);
    return bytes;
}

std::array<double, 3> inSrgb(const RgbSpace& space, const std::array<double, 3>& colour) {
    Vector light{};
    for (std::size_t i = 0; i < 3; ++i)
        light[i] = space.gamma == 0 ? srgbDecoded(colour[i]) : std::pow(colour[i], space.gamma);
    const Vector xyz = adapted(toXyz(space) * light, space.white, srgbSpace.white);
    const Vector linear = inverse(toXyz(srgbSpace)) * xyz;
    return {srgbEncoded(linear[0]), srgbEncoded(linear[1]), srgbEncoded(linear[2])};
}

Image withProfile(const Image& image, const QByteArray& profile) {
    PixelData description = image.pixels();
    description.colourProfile = profile;
    return Image(std::make_shared<const PixelData>(description));
}

}  // namespace lumaweave::test
