#pragma once

#include <QByteArray>
#include <filesystem>

#include "imaging/picture/Image.h"
#include "imaging/picture/Outcome.h"

namespace lumaweave {

// What a picture is to be written as.
struct WantedPixels {
    SampleType type;
    int colours;               // at least as many as the picture has
    QByteArray colourProfile;  // empty: sRGB, or grey with sRGB's tone curve
};

// Writes the picture as writeTiff does (atomically), made what is wanted: colours go through their
// own profile into the wanted one, and keep their numbers where both say the same. A profile of the
// picture that cannot be used is taken for none, with a line in the log. What the picture is
// already stays as it is, alpha too. Floats outside 0 to 1 are clipped where they become integers,
// and by profiles that are made of tables. Fails when it cannot be written; the reason is logged
// too. Takes memory for some rows only. Any thread.
Outcome writeConverted(const Image& image, const WantedPixels& wanted,
                       const std::filesystem::path& path);

}  // namespace lumaweave
