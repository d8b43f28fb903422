// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>

#include "imaging/formats/VipsLibrary.h"
#include "imaging/picture/Image.h"

namespace lumaweave {

// How libvips' pictures become pictures as they are held here. They throw as libvips does.

[[nodiscard]] bool isLab(const vips::VImage& image);

// Lab as floats; it becomes RGB row by row.
[[nodiscard]] vips::VImage labFloats(const vips::VImage& image);

// Colour spaces that the fusion tool does not take become sRGB, which is what shots without a
// profile have: a bracket mixes well with it, and its files are understood everywhere.
[[nodiscard]] vips::VImage toRgbOrGrey(const vips::VImage& image);

// 8 and 16-bit integers and floats stay; other depths go to the next one of these that holds them.
[[nodiscard]] vips::VImage toKnownDepth(const vips::VImage& image, SampleType* type);

// The profile, where it speaks of pictures of this kind.
[[nodiscard]] QByteArray usableProfile(const vips::VImage& image, int colours);

}  // namespace lumaweave
