// SPDX-License-Identifier: GPL-3.0-or-later
#include <string_view>

#include "imaging/formats/Formats.h"
#include "imaging/formats/VipsCodec.h"
#include "imaging/picture/ColourProfile.h"

// JPEG XL, read by libvips.

namespace lumaweave {

namespace {

using namespace std::string_view_literals;

void correct(const PictureFile&, VipsFacts& facts) {
    facts.orientation = 1;  // its library has turned it
    // Its library makes a profile for files that have none.
    QByteArray& profile = facts.description.colourProfile;
    if (isSrgbProfile(profile)) profile.clear();
    if (facts.description.format.type == SampleType::float32) {
        facts.changes.isLinear = isLinearProfile(profile);
    }
}

bool recognises(std::string_view head, const ReadBytes&) {
    return hasAt(head, 0, "\xFF\x0A"sv) || hasAt(head, 0, "\0\0\0\x0CJXL \r\n\x87\n"sv);
}

constexpr std::string_view endings[] = {"jxl"};

}  // namespace

constinit const PhotoFormat jpegXlFormat = {
    .name = "JPEG XL",
    .endings = endings,
    .recognises = recognises,
    .open = [](const PictureFile& file) { return openWithVips(file, {.correct = correct}); }};

}  // namespace lumaweave
