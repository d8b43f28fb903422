// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/tiff/TiffLayout.h"

namespace lumaweave {

TiffLayout tiffLayoutOf(TIFF* tiff) {
    TiffLayout layout;
    const std::uint16_t* extraKinds = nullptr;
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &layout.width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &layout.height);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &layout.samples);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &layout.bits);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &layout.sampleFormat);
    TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &layout.photometric);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &layout.planes);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &layout.compression);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_ORIENTATION, &layout.orientation);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &layout.extraSamples, &extraKinds);
    if (layout.extraSamples > 0) layout.extraKind = extraKinds[0];
    TIFFGetField(tiff, TIFFTAG_XPOSITION, &layout.xPosition);
    TIFFGetField(tiff, TIFFTAG_YPOSITION, &layout.yPosition);
    return layout;
}

QByteArray profileIn(TIFF* tiff) {
    std::uint32_t size = 0;
    const void* bytes = nullptr;
    if (TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &size, &bytes) != 1) return {};
    return {static_cast<const char*>(bytes), static_cast<qsizetype>(size)};
}

}  // namespace lumaweave
