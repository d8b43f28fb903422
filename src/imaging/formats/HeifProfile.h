// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <libheif/heif.h>

#include <QByteArray>

namespace lumaweave {

// The colour profile of a picture in a HEIF or AVIF file, or one that stands for the colours which
// the file names by number. Empty for sRGB.
[[nodiscard]] QByteArray heifProfileOf(const heif_image_handle* handle);

}  // namespace lumaweave
