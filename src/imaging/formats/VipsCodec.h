// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "imaging/formats/OpenedPicture.h"
#include "imaging/formats/SampleChanges.h"

namespace lumaweave {

// What libvips says of a picture.
struct VipsFacts {
    PixelData& description;
    int& orientation;
    SampleChanges& changes;
};

// What a format needs beyond libvips.
struct VipsHelp {
    // Reads the file into memory: libvips would map it, and a file that shrinks under its map ends
    // the program.
    bool intoMemory = false;
    // Puts right what libvips says wrongly of the format, or not at all. May be null.
    void (*correct)(const PictureFile& file, VipsFacts& facts) = nullptr;
};

// A picture that libvips reads, row by row. For the formats that it is let read (startVips).
[[nodiscard]] OpenResult openWithVips(const PictureFile& file, const VipsHelp& help = {});

}  // namespace lumaweave
