#pragma once

#include "imaging/PictureReader.h"

namespace lumaweave {

// A camera's raw file, developed the same for every shot of a bracket: the camera's white balance,
// sRGB with its tone curve, 16 bit. Nothing in it depends on how bright the shot is: no automatic
// brightening, a white level that is the camera's and not the brightest pixel's, and highlights
// that are clipped and not rescued. Upright. Takes memory for the whole picture: 16 bytes a pixel.
// Null, with the reason in the log, when the library does not know the camera; the small picture
// that such a file carries is never taken for it.
[[nodiscard]] OpenedPicture openRaw(const PictureFile& file);

}  // namespace lumaweave
