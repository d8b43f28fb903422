// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "imaging/formats/Formats.h"
#include "imaging/formats/VipsCodec.h"

// Radiance, read by libvips.

namespace lumaweave {

namespace {

// How the rows of a Radiance file lie, as EXIF counts it: the line behind the header says which
// axis comes first, and which way each goes.
int orientationOf(std::string_view file) {
    const std::size_t headerEnd = file.find("\n\n");
    if (headerEnd == std::string_view::npos) return 1;
    const std::string_view line = file.substr(headerEnd + 2, 40);
    const std::size_t second = line.find_first_of("+-", 1);
    if (second == std::string_view::npos || second + 1 >= line.size()) return 1;
    const std::string axes = {line[0], line[1], line[second], line[second + 1]};
    constexpr std::array<std::string_view, 8> known = {"-Y+X", "-Y-X", "+Y-X", "+Y+X",
                                                       "+X-Y", "-X-Y", "-X+Y", "+X+Y"};
    const auto* found = std::find(known.begin(), known.end(), axes);
    return found == known.end() ? 1 : static_cast<int>(found - known.begin()) + 1;
}

void correct(const PictureFile& file, VipsFacts& facts) {
    facts.orientation = orientationOf(file.beginning());
    facts.changes.isLinear = true;
}

bool recognises(std::string_view head, const ReadBytes&) {
    return hasAt(head, 0, "#?RADIANCE") || hasAt(head, 0, "#?RGBE");
}

constexpr std::string_view endings[] = {"hdr"};

}  // namespace

constinit const PhotoFormat radianceFormat = {
    .name = "Radiance",
    .endings = endings,
    .recognises = recognises,
    .open = [](const PictureFile& file) { return openWithVips(file, {.correct = correct}); }};

}  // namespace lumaweave
