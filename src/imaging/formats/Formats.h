// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "imaging/formats/PhotoFormat.h"

namespace lumaweave {

// The formats, each defined in the file of its codec. Formats.cpp has their order.
extern const PhotoFormat jpegFormat;
extern const PhotoFormat pngFormat;
extern const PhotoFormat webpFormat;
extern const PhotoFormat rawFormat;
extern const PhotoFormat tiffFormat;
extern const PhotoFormat heifFormat;
extern const PhotoFormat jpeg2000Format;
extern const PhotoFormat jpegXlFormat;
extern const PhotoFormat openExrFormat;
extern const PhotoFormat radianceFormat;
extern const PhotoFormat gifFormat;
extern const PhotoFormat portableMapFormat;
extern const PhotoFormat bmpFormat;

}  // namespace lumaweave
