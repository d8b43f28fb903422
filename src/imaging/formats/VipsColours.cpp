// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/VipsColours.h"

#include "imaging/picture/ColourProfile.h"
#include "platform/Log.h"

namespace lumaweave {

using vips::VImage;

namespace {

bool hasProfile(const VImage& image) {
    return image.get_typeof(VIPS_META_ICC_NAME) != 0;
}

bool hasProfileOf(const char* colourSpace, const VImage& image) {
    if (!hasProfile(image)) return false;
    std::size_t size = 0;
    const void* bytes = image.get_blob(VIPS_META_ICC_NAME, &size);
    return isProfileOf(colourSpace, bytes, size);
}

bool isRgbOrGrey(VipsInterpretation interpretation) {
    switch (interpretation) {
        case VIPS_INTERPRETATION_B_W:
        case VIPS_INTERPRETATION_GREY16:
        case VIPS_INTERPRETATION_RGB:
        case VIPS_INTERPRETATION_sRGB:
        case VIPS_INTERPRETATION_RGB16:
        case VIPS_INTERPRETATION_scRGB:
        case VIPS_INTERPRETATION_MULTIBAND:
            return true;
        default:
            return false;
    }
}

VImage cmykToRgb(const VImage& image) {
    constexpr int inks = 4;
    const bool isByte = image.format() == VIPS_FORMAT_UCHAR;
    const VImage rgb = image.extract_band(0, VImage::option()->set("n", inks))
                           .icc_transform("srgb", VImage::option()
                                                      ->set("embedded", hasProfileOf("CMYK", image))
                                                      ->set("input_profile", "cmyk")
                                                      ->set("depth", isByte ? 8 : 16));
    return image.bands() > inks ? rgb.bandjoin(image.extract_band(inks)) : rgb;
}

}  // namespace

bool isLab(const VImage& image) {
    return image.coding() == VIPS_CODING_LABQ ||
           image.interpretation() == VIPS_INTERPRETATION_LAB ||
           image.interpretation() == VIPS_INTERPRETATION_LABS;
}

VImage labFloats(const VImage& image) {
    const VImage lab = image.coding() == VIPS_CODING_LABQ                   ? image.LabQ2Lab()
                       : image.interpretation() == VIPS_INTERPRETATION_LABS ? image.LabS2Lab()
                                                                            : image;
    return lab.extract_band(0, VImage::option()->set("n", 3)).cast(VIPS_FORMAT_FLOAT);
}

VImage toRgbOrGrey(const VImage& image) {
    if (image.interpretation() == VIPS_INTERPRETATION_CMYK) return cmykToRgb(image);
    if (isRgbOrGrey(image.interpretation())) return image;
    VImage rgb = image.colourspace(VIPS_INTERPRETATION_sRGB).copy();
    rgb.remove(VIPS_META_ICC_NAME);
    return rgb;
}

VImage toKnownDepth(const VImage& image, SampleType* type) {
    switch (image.format()) {
        case VIPS_FORMAT_UCHAR:
        case VIPS_FORMAT_CHAR:
            *type = SampleType::uint8;
            return image.cast(VIPS_FORMAT_UCHAR);
        case VIPS_FORMAT_USHORT:
        case VIPS_FORMAT_SHORT:
            *type = SampleType::uint16;
            return image.cast(VIPS_FORMAT_USHORT);
        case VIPS_FORMAT_UINT:
        case VIPS_FORMAT_INT:
            *type = SampleType::uint16;
            return image.cast(VIPS_FORMAT_UINT)
                .linear(65535.0 / 4294967295.0, 0.5)
                .cast(VIPS_FORMAT_USHORT);
        default:
            *type = SampleType::float32;
            return image.cast(VIPS_FORMAT_FLOAT);
    }
}

QByteArray usableProfile(const VImage& image, int colours) {
    if (!hasProfile(image)) return {};
    if (!hasProfileOf(profileColourSpace(colours), image)) {
        logLine("Colour profile of another kind of picture passed over");
        return {};
    }
    std::size_t size = 0;
    const auto* bytes = static_cast<const char*>(image.get_blob(VIPS_META_ICC_NAME, &size));
    return {bytes, static_cast<qsizetype>(size)};
}

}  // namespace lumaweave
