// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/metadata/RecordedFocalLength.h"

#include <cmath>
#include <exiv2/exiv2.hpp>

#include "imaging/metadata/ExivLibrary.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

// A number above zero; 0 for what is not there or is none.
double number(const Exiv2::ExifData& exif, const char* key) {
    const auto found = exif.findKey(Exiv2::ExifKey(key));
    if (found == exif.end() || found->count() == 0) return 0;
    const auto value = static_cast<double>(found->toFloat());
    return std::isfinite(value) && value > 0 ? value : 0;
}

// The length of one side of the sensor in millimetres.
double sensorSide(const Exiv2::ExifData& exif, const char* pixels, const char* resolution) {
    const double perUnit = number(exif, resolution);
    if (perUnit == 0) return 0;
    constexpr double inch = 25.4;
    constexpr double centimetre = 10;
    const bool inCentimetres = number(exif, "Exif.Photo.FocalPlaneResolutionUnit") == 3;
    return number(exif, pixels) / perUnit * (inCentimetres ? centimetre : inch);
}

std::optional<double> focalLengthIn35mm(const Exiv2::ExifData& exif) {
    if (const double told = number(exif, "Exif.Photo.FocalLengthIn35mmFilm"); told > 0) return told;
    const double onSensor = number(exif, "Exif.Photo.FocalLength");
    const double width =
        sensorSide(exif, "Exif.Photo.PixelXDimension", "Exif.Photo.FocalPlaneXResolution");
    const double height =
        sensorSide(exif, "Exif.Photo.PixelYDimension", "Exif.Photo.FocalPlaneYResolution");
    if (onSensor == 0 || width == 0 || height == 0) return std::nullopt;
    const double enlargement = std::hypot(36.0, 24.0) / std::hypot(width, height);
    // From a large-format back to a telephone; past them the entries are no sensor's.
    constexpr double largestSensor = 0.2;
    constexpr double smallestSensor = 20;
    if (enlargement < largestSensor || enlargement > smallestSensor) return std::nullopt;
    return onSensor * enlargement;
}

}  // namespace

std::optional<double> recordedFocalLength(const fs::path& photograph) {
    const auto records = readExivRecords(photograph);
    return records ? focalLengthIn35mm(records->exif) : std::nullopt;
}

}  // namespace lumaweave
