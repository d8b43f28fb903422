// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "platform/FileDescriptor.h"

namespace lumaweave {

// Whether a TIFF holds a camera's raw pixels: it says that it is a DNG, or one of its directories
// has a colour mosaic or undeveloped colours. Passes over directories that it cannot read, so that
// a damaged raw file is not taken for the small picture that it carries. A developed picture is
// none, whatever camera or scanner it names. Pure; any thread.
[[nodiscard]] bool isRawTiff(const ReadBytes& read);

}  // namespace lumaweave
