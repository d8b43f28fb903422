// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <filesystem>

#include "imaging/picture/Image.h"
#include "platform/Outcome.h"

namespace lumaweave {

// What to write a picture as.
struct WantedPixels {
    SampleType type;
    int colours;               // at least as many as the picture has
    QByteArray colourProfile;  // empty: sRGB, or grey with sRGB's tone curve
};

// Writes the picture with the wanted pixels, atomically as writeTiff does: colours go through their
// own profile into the wanted one, and keep their numbers where both say the same. Takes a profile
// of the picture that cannot be used for none, with a line in the log. What the picture is already
// stays as it is, alpha too. Clips floats outside 0 to 1 where they become integers; profiles that
// are made of tables clip them too. Fails when it cannot be written; the reason is logged too.
// Takes memory for some rows only. Any thread.
Outcome writeConverted(const Image& image, const WantedPixels& wanted,
                       const std::filesystem::path& path);

}  // namespace lumaweave
