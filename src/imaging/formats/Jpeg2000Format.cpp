// SPDX-License-Identifier: GPL-3.0-or-later
#include <string>
#include <string_view>

#include "imaging/formats/Formats.h"
#include "imaging/formats/VipsCodec.h"
#include "imaging/picture/ColourProfile.h"
#include "platform/ByteOrder.h"

// JPEG 2000, read by libvips.

namespace lumaweave {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view codestreamStart = "\xFF\x4F\xFF\x51"sv;

// What libvips does not tell of a JPEG 2000 file.
struct Jpeg2000Facts {
    int bits = 0;        // of the first component; 0 when they cannot be told
    bool isYcc = false;  // and libvips, which knows it where the colour is sampled down, does not
    QByteArray profile;
};

// Whether the components of a codestream have as many samples each.
bool isSampledEqually(std::string_view codestream) {
    constexpr std::size_t componentsOffset = 42;  // behind the sizes of picture and tiles
    constexpr std::size_t componentBytes = 3;     // bits, and the steps across and down
    if (codestream.size() < componentsOffset + 3 * componentBytes) return false;
    const std::string_view components = codestream.substr(componentsOffset);
    for (std::size_t i = 0; i < 3; ++i) {
        if (components.substr(i * componentBytes + 1, 2) != "\1\1"sv) return false;
    }
    return true;
}

// Takes what the box of colours in front of the codestream says, where there is one.
void readColours(std::string_view file, std::size_t codestream, Jpeg2000Facts& facts) {
    // Its length, its name, a 1 or 2, two bytes, a number or a profile.
    constexpr std::size_t fieldBytes = 4;
    constexpr std::size_t boxHead = 11;
    constexpr std::uint32_t ycc = 18;
    const std::size_t name = file.substr(0, codestream).find("colr"sv);
    if (name == std::string_view::npos || name < fieldBytes) return;
    const std::string_view box = file.substr(name - fieldBytes);
    const auto numberAt = [box](std::size_t offset) {
        return readNumber<std::uint32_t>(box.data() + offset, std::endian::big);
    };
    const std::size_t length = numberAt(0);
    if (length < boxHead + fieldBytes || length > box.size()) return;
    if (box[8] == 1) {
        facts.isYcc = numberAt(boxHead) == ycc && isSampledEqually(file.substr(codestream));
    } else if (box[8] == 2) {
        facts.profile = QByteArray(box.data() + boxHead, static_cast<qsizetype>(length - boxHead));
    }
}

Jpeg2000Facts factsOf(std::string_view file) {
    constexpr std::size_t bitsOffset = 42;
    Jpeg2000Facts facts;
    const std::size_t codestream = file.find(codestreamStart);
    if (codestream == std::string_view::npos || codestream + bitsOffset >= file.size()) {
        return facts;
    }
    facts.bits = (static_cast<unsigned char>(file[codestream + bitsOffset]) & 0x7F) + 1;
    readColours(file, codestream, facts);
    return facts;
}

void correct(const PictureFile& file, VipsFacts& facts) {
    PixelData& description = facts.description;
    if (description.format.type == SampleType::float32) return;
    const Jpeg2000Facts told = factsOf(file.beginning());
    // Its samples come shifted up to the top of 8 or 16 bits.
    const int room = description.format.bytesPerSample() * 8;
    if (told.bits > 0 && told.bits < room) {
        facts.changes.highest = ((1U << told.bits) - 1U) << (room - told.bits);
    }
    facts.changes.isYcc = told.isYcc && description.format.colours == 3;
    if (isProfileOf(profileColourSpace(description.format.colours), told.profile.constData(),
                    static_cast<std::size_t>(told.profile.size()))) {
        description.colourProfile = told.profile;
    }
}

bool recognises(std::string_view head, const ReadBytes&) {
    return hasAt(head, 0, "\0\0\0\x0CjP  \r\n\x87\n"sv) || hasAt(head, 0, codestreamStart);
}

constexpr std::string_view endings[] = {"jp2", "j2k"};

}  // namespace

constinit const PhotoFormat jpeg2000Format = {
    .name = "JPEG 2000",
    .endings = endings,
    .recognises = recognises,
    .open = [](const PictureFile& file) { return openWithVips(file, {.correct = correct}); }};

}  // namespace lumaweave
