// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "imaging/formats/OpenedPicture.h"

namespace lumaweave {

// A picture that Qt's decoder of that name ("jpeg") reads, as a whole. By names alone: a plug-in
// that reads drawings or text may be installed too.
[[nodiscard]] OpenResult openWithQt(const PictureFile& file, const char* name);

}  // namespace lumaweave
