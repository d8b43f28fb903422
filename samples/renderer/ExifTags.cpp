// SPDX-License-Identifier: GPL-3.0-or-later
#include "ExifTags.h"

#include <cmath>
#include <cstdio>
#include <exiv2/exiv2.hpp>
#include <stdexcept>
#include <string>

#include "Vec.h"

namespace lumaweave {

namespace {

constexpr double kMiddleSeconds = 1.0 / 64;
constexpr double kHalfFrame = 18.0;  // millimetres, half the long side of a 36 x 24 mm frame

/// The exposure time as cameras label it: the nearest step of the usual scale.
Exiv2::Rational exposureTime(double seconds) {
    static constexpr int kFractions[] = {8000, 6400, 5000, 4000, 3200, 2500, 2000, 1600, 1250,
                                         1000, 800,  640,  500,  400,  320,  250,  200,  160,
                                         125,  100,  80,   60,   50,   40,   30,   25,   20,
                                         15,   13,   10,   8,    6,    5,    4,    3,    2};
    if (seconds > 0.7) {
        return {static_cast<int>(std::lround(seconds)), 1};
    }
    int best = kFractions[0];
    for (const int f : kFractions) {
        if (std::abs(std::log(seconds * f)) < std::abs(std::log(seconds * best))) {
            best = f;
        }
    }
    return {1, best};
}

std::string dateOf(const Shot& shot) {
    const int seconds = 12 + shot.number - 1;
    char text[32];
    std::snprintf(text, sizeof text, "2025:06:14 10:%02d:%02d", 32 + seconds / 60, seconds % 60);
    return text;
}

void describeCamera(Exiv2::ExifData& exif) {
    exif["Exif.Image.Make"] = "Lumaweave";
    exif["Exif.Image.Model"] = "Sample Camera";
    exif["Exif.Image.Artist"] = "Lumaweave contributors";
    exif["Exif.Image.Copyright"] = "Lumaweave contributors, GPL-3.0-or-later";
    exif["Exif.Image.Software"] = "render-bracket";
    exif["Exif.Image.ImageDescription"] = "Rendered exposure bracket of a room with a window";
    exif["Exif.Image.Orientation"] = std::uint16_t{1};
    exif["Exif.Photo.ColorSpace"] = std::uint16_t{1};
    exif["Exif.Photo.LensModel"] = "Sample Lens 24mm F2.8";
}

void describeShot(Exiv2::ExifData& exif, const Shot& shot, double fovDegrees) {
    const double focal = kHalfFrame / std::tan(0.5 * fovDegrees * kPi / 180);
    exif["Exif.Photo.ExposureTime"] = exposureTime(kMiddleSeconds * std::exp2(shot.bias));
    exif["Exif.Photo.FNumber"] = Exiv2::Rational(8, 1);
    exif["Exif.Photo.ISOSpeedRatings"] = std::uint16_t{200};
    exif["Exif.Photo.ExposureProgram"] = std::uint16_t{3};
    exif["Exif.Photo.ExposureMode"] = std::uint16_t{2};
    exif["Exif.Photo.WhiteBalance"] = std::uint16_t{1};
    exif["Exif.Photo.Flash"] = std::uint16_t{16};
    exif["Exif.Photo.MeteringMode"] = std::uint16_t{5};
    exif["Exif.Photo.ExposureBiasValue"] =
        Exiv2::Rational(static_cast<int>(std::lround(shot.bias * 100)), 100);
    exif["Exif.Photo.FocalLength"] = Exiv2::Rational(static_cast<int>(std::lround(focal * 10)), 10);
    exif["Exif.Photo.FocalLengthIn35mmFilm"] = static_cast<std::uint16_t>(std::lround(focal));
    const std::string date = dateOf(shot);
    exif["Exif.Image.DateTime"] = date;
    exif["Exif.Photo.DateTimeOriginal"] = date;
    exif["Exif.Photo.DateTimeDigitized"] = date;
}

}  // namespace

std::vector<std::uint8_t> withExif(const std::vector<std::uint8_t>& jpeg, const Shot& shot,
                                   int width, int height, double fovDegrees) {
    try {
        auto image = Exiv2::ImageFactory::open(jpeg.data(), static_cast<long>(jpeg.size()));
        Exiv2::ExifData exif;
        describeCamera(exif);
        describeShot(exif, shot, fovDegrees);
        exif["Exif.Photo.PixelXDimension"] = static_cast<std::uint32_t>(width);
        exif["Exif.Photo.PixelYDimension"] = static_cast<std::uint32_t>(height);
        image->setExifData(exif);
        image->writeMetadata();
        Exiv2::BasicIo& io = image->io();
        if (io.open() != 0) {
            throw std::runtime_error("cannot read back the picture");
        }
        const Exiv2::DataBuf bytes = io.read(static_cast<long>(io.size()));
        return {bytes.pData_, bytes.pData_ + bytes.size_};
    } catch (const Exiv2::AnyError& error) {
        throw std::runtime_error(std::string("cannot write EXIF: ") + error.what());
    }
}

}  // namespace lumaweave
