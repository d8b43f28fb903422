#pragma once

#include "platform/FileDescriptor.h"

namespace lumaweave {

// Whether a TIFF holds a camera's raw pixels: it says that it is a DNG, or one of its directories
// has a colour mosaic or undeveloped colours. Directories that cannot be read are passed over, so
// that a damaged raw file is not taken for the small picture that it carries. A developed picture,
// whatever camera or scanner it names, is none. Pure; any thread.
[[nodiscard]] bool isRawTiff(const ReadBytes& read);

}  // namespace lumaweave
