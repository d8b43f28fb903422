#pragma once

#include <QByteArray>
#include <filesystem>

#include "imaging/Image.h"

namespace lumaweave {

// Writes the picture as writeTiff does (atomically), with samples of another type and, if wanted,
// grey made RGB: through its own profile into the given one, where empty means sRGB, or grey with
// sRGB's tone curve. What the picture is already stays as it is; a picture in colours keeps its
// profile. Floats outside 0 to 1 are clipped where they become integers. False when it could not be
// written; the reason is logged. Takes memory for some rows only. Any thread.
[[nodiscard]] bool writeConverted(const Image& image, SampleType type, bool toRgb,
                                  const QByteArray& rgbProfile, const std::filesystem::path& path);

}  // namespace lumaweave
