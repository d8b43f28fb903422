// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Pictures.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "imaging/formats/VipsLibrary.h"
#include "imaging/picture/PixelData.h"

namespace lumaweave::test {

namespace fs = std::filesystem;
using vips::VImage;

namespace {

template <typename Sample>
Sample sampleOf(double value) {
    if constexpr (std::is_floating_point_v<Sample>) {
        return static_cast<Sample>(value);
    } else {
        return static_cast<Sample>(
            std::lround(std::clamp(value, 0.0, 1.0) * static_cast<double>(fullValue<Sample>())));
    }
}

}  // namespace

Image makeImage(int width, int height, const PixelFormat& format, const SampleFunction& value) {
    PixelBuffer buffer(width, height, format);
    withSampleType(format.type, [&]<typename Sample>() {
        for (int y = 0; y < height; ++y) {
            Sample* to = buffer.row<Sample>(y);
            for (int x = 0; x < width; ++x) {
                for (int s = 0; s < format.samples(); ++s)
                    *to++ = sampleOf<Sample>(value(x, y, s));
            }
        }
    });
    return std::move(buffer).finish();
}

SampleFunction sceneAt(double exposure, int seed) {
    return [exposure, seed](int x, int y, int s) {
        const double light = 0.02 + 0.5 * (1 + std::sin(x * 0.013 + seed)) *
                                        (1 + std::cos(y * 0.017 + s * 0.7 + seed)) / 4;
        const double texture = 1 + 0.2 * std::sin(x * 0.9 + s) * std::cos(y * 0.7 - seed);
        return std::pow(std::min(1.0, light * texture * exposure), 1 / 2.2);
    };
}

Image plainPicture(int width, int height, const std::array<double, 3>& colour,
                   const PixelFormat& format) {
    return makeImage(width, height, format, [&](int, int, int s) {
        return s < format.colours ? colour.at(static_cast<std::size_t>(s)) : 1;
    });
}

Image plainPicture(int width, int height, const QColor& colour, const PixelFormat& format) {
    return plainPicture(width, height,
                        std::array<double, 3>{colour.redF(), colour.greenF(), colour.blueF()},
                        format);
}

VImage vipsImage(const Image& image) {
    startVips();
    const PixelData& pixels = image.pixels();
    constexpr VipsBandFormat formats[] = {VIPS_FORMAT_UCHAR, VIPS_FORMAT_USHORT, VIPS_FORMAT_FLOAT};
    const VImage copied(vips_image_new_from_memory_copy(
        pixels.bytes, pixels.byteCount(), pixels.width, pixels.height, pixels.format.samples(),
        formats[static_cast<int>(pixels.format.type)]));
    const bool is16 = pixels.format.type == SampleType::uint16;
    const VipsInterpretation kind =
        pixels.format.colours == 1 ? (is16 ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_B_W)
                                   : (is16 ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB);
    VImage result = copied.copy(VImage::option()->set("interpretation", kind));
    if (!pixels.colourProfile.isEmpty()) {
        vips_image_set_blob_copy(result.get_image(), VIPS_META_ICC_NAME,
                                 pixels.colourProfile.constData(),
                                 static_cast<std::size_t>(pixels.colourProfile.size()));
    }
    return result;
}

void saveImage(const Image& image, const fs::path& path) {
    const VImage picture = vipsImage(image);
    const std::string ending = path.extension().native();
    const char* name = path.c_str();
    if (ending == ".jpg") {
        picture.jpegsave(name, VImage::option()->set("Q", 95));
    } else if (ending == ".png") {
        picture.pngsave(name);
    } else if (ending == ".webp") {
        picture.webpsave(name, VImage::option()->set("lossless", true));
    } else {
        picture.tiffsave(name);
    }
}

void saveCompressedTiff(const Image& image, const fs::path& path) {
    vipsImage(image).tiffsave(
        path.c_str(), VImage::option()->set("compression", VIPS_FOREIGN_TIFF_COMPRESSION_LZW));
}

std::vector<double> samplesOf(const Image& image) {
    std::vector<double> result;
    if (image.isNull()) return result;
    const PixelData& pixels = image.pixels();
    const auto perRow = static_cast<std::size_t>(pixels.width * pixels.format.samples());
    result.reserve(perRow * static_cast<std::size_t>(pixels.height));
    withSampleType(pixels.format.type, [&]<typename Sample>() {
        for (int y = 0; y < pixels.height; ++y) {
            const Sample* row = pixels.row<Sample>(y);
            for (std::size_t i = 0; i < perRow; ++i) {
                result.push_back(static_cast<double>(row[i]) /
                                 static_cast<double>(fullValue<Sample>()));
            }
        }
    });
    return result;
}

Difference differenceBetween(const Image& a, const Image& b) {
    constexpr double infinite = std::numeric_limits<double>::infinity();
    const std::vector<double> left = samplesOf(a);
    const std::vector<double> right = samplesOf(b);
    if (left.empty() || left.size() != right.size() || a.pixelsWide() != b.pixelsWide()) {
        return {infinite, infinite};
    }
    Difference difference = {0, 0};
    for (std::size_t i = 0; i < left.size(); ++i) {
        const double here = std::abs(left[i] - right[i]);
        difference.largest = std::max(difference.largest, here);
        difference.mean += here / static_cast<double>(left.size());
    }
    return difference;
}

std::vector<fs::path> makeBracket(const fs::path& folder, int width, int height, int shots) {
    std::vector<fs::path> files;
    for (int i = 0; i < shots; ++i) {
        const double exposure = std::pow(4.0, i - (shots - 1) / 2.0);
        files.push_back(folder / ("shot " + std::to_string(i) + ".jpg"));
        saveImage(makeImage(width, height, {}, sceneAt(exposure)), files.back());
    }
    return files;
}

fs::path sampleShot(int number) {
    return fs::path(LUMAWEAVE_SOURCE_FOLDER) / "samples/bracket" /
           ("window-" + std::to_string(number) + ".jpg");
}

}  // namespace lumaweave::test
