#include "imaging/TiffLayout.h"

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

}  // namespace lumaweave
