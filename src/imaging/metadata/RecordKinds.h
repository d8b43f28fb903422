// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <exiv2/exiv2.hpp>

namespace lumaweave {

// What kinds of records the metadata library finds in a photograph. For imaging/metadata only.

// Whether it describes the source's own pixels, or points to parts of its file: size, compression,
// development, small copies of the picture.
[[nodiscard]] bool belongsToSource(const Exiv2::Exifdatum& datum);
[[nodiscard]] bool belongsToSource(const Exiv2::Xmpdatum& datum);
[[nodiscard]] bool belongsToSource(const Exiv2::Iptcdatum& datum);

// What every file says of itself, without a camera or a user.
[[nodiscard]] bool isBookkeeping(const Exiv2::Exifdatum& datum);
[[nodiscard]] bool isBookkeeping(const Exiv2::Iptcdatum& datum);
[[nodiscard]] bool isBookkeeping(const Exiv2::Xmpdatum& datum);

[[nodiscard]] bool isMakerNote(const Exiv2::Exifdatum& datum);

// A place in the picture, counted in the source's rows and columns.
[[nodiscard]] bool isPlaceInPicture(const Exiv2::Exifdatum& datum);
[[nodiscard]] bool isPlaceInPicture(const Exiv2::Xmpdatum& datum);

}  // namespace lumaweave
