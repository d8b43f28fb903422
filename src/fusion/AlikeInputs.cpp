// SPDX-License-Identifier: GPL-3.0-or-later
#include "fusion/AlikeInputs.h"

#include <algorithm>
#include <future>
#include <new>
#include <optional>
#include <string_view>
#include <system_error>

#include "imaging/decoding/ImageDecoder.h"
#include "imaging/picture/ColourProfile.h"
#include "imaging/tiff/Conversion.h"
#include "imaging/tiff/TiffFile.h"
#include "platform/Log.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

// Null when it cannot be read.
Image contentOf(const RunInput& input) {
    const bool isOurs = input.file.parent_path() == workingFolder();
    const auto mapped = isOurs ? mapTiff(input.file) : std::nullopt;
    return mapped.value_or(input.image);
}

bool isAlike(const Image& content, const WantedPixels& wanted) {
    return content.format().type == wanted.type && content.format().colours == wanted.colours &&
           meansTheSame(content.colourProfile(), wanted.colourProfile);
}

// The profile for pictures with the wanted number of colours: the first's or, if others need
// conversion, the first that they can be converted to.
QByteArray commonProfile(const std::vector<Image>& contents, int colours) {
    std::vector<QByteArray> profiles;
    bool anyOther = false;
    for (const Image& content : contents) {
        if (content.isNull()) continue;
        if (content.format().colours == colours) {
            profiles.push_back(content.colourProfile());
            anyOther = anyOther || !meansTheSame(profiles.back(), profiles.front());
        } else {
            anyOther = true;
        }
    }
    if (profiles.empty()) return {};
    if (!anyOther) return profiles.front();
    const auto found = std::ranges::find_if(profiles, isConversionTarget);
    return found == profiles.end() ? QByteArray() : *found;
}

WantedPixels wantedOf(const std::vector<Image>& contents) {
    WantedPixels wanted = {SampleType::uint8, 1, {}};
    for (const Image& content : contents) {
        if (content.isNull()) continue;
        wanted.type = std::max(wanted.type, content.format().type);
        wanted.colours = std::max(wanted.colours, content.format().colours);
    }
    wanted.colourProfile = commonProfile(contents, wanted.colours);
    return wanted;
}

}  // namespace

AlikeInputs::AlikeInputs(const std::vector<RunInput>& inputs) {
    std::vector<Image> contents;
    for (const RunInput& input : inputs) {
        files_.push_back(input.file);
        contents.push_back(contentOf(input));
    }
    const WantedPixels wanted = wantedOf(contents);
    type_ = wanted.type;
    // All at once: each takes a core and the memory of some rows.
    std::vector<std::future<void>> conversions;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        if (contents[i].isNull() || isAlike(contents[i], wanted)) continue;
        const auto convert = [this, &file = files_[i], &content = contents[i], &wanted,
                              copy = copies_.emplace_back(newScratchPath(".tif"))] {
            try {
                if (writeConverted(content, wanted, copy)) {
                    file = copy;
                    return;
                }
            } catch (const std::bad_alloc&) {
                logLine("Too little memory to convert " + file.native());
            }
            complete_ = false;
        };
        try {
            conversions.push_back(std::async(std::launch::async, convert));
        } catch (const std::system_error&) {
            convert();  // no free thread
        }
    }
    for (const std::future<void>& conversion : conversions)
        conversion.wait();
}

AlikeInputs::~AlikeInputs() {
    std::error_code ignored;
    for (const fs::path& copy : copies_)
        fs::remove(copy, ignored);
}

SampleType requestedType(const std::string& command) {
    // The last: the output's path comes before it and may hold anything.
    const std::string option = "--depth=";
    const std::size_t at = command.rfind(option);
    if (at == std::string::npos) return SampleType::uint8;
    const std::string_view depth = std::string_view(command).substr(at + option.size());
    if (depth.starts_with("r32")) return SampleType::float32;
    return depth.starts_with("16") ? SampleType::uint16 : SampleType::uint8;
}

std::string inFloats(const std::string& command) {
    return "LUMAWEAVE_FLOATS=yes " + command;
}

void turnInto(SampleType type, const fs::path& result) {
    const Image fused = decodeImage(result);
    const WantedPixels wanted = {type, fused.format().colours, fused.colourProfile()};
    if (!fused.isNull() && writeConverted(fused, wanted, result)) return;
    std::error_code ignored;
    fs::remove(result, ignored);
}

}  // namespace lumaweave
