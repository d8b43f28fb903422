#include "fusion/AlikeInputs.h"

#include <sys/stat.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "imaging/ColourProfile.h"
#include "imaging/Conversion.h"
#include "imaging/ImageDecoder.h"
#include "imaging/TiffFile.h"
#include "platform/Log.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

bool isOurs(const fs::path& file) {
    return file.parent_path() == workingFolder();
}

// What the file holds: a working copy that is already alike is no longer what its shot is.
Image contentOf(const RunInput& input) {
    if (!isOurs(input.file)) return input.image;
    return mapTiff(input.file).value_or(input.image);
}

std::optional<ino_t> identityOf(const fs::path& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) return std::nullopt;
    return status.st_ino;
}

// A file that another thread has replaced meanwhile is left alone: the next run is for that one.
void convert(const RunInput& input, const WantedPixels& wanted) {
    const fs::path made = newScratchPath(".tif");
    const auto before = identityOf(input.file);
    const Image image = contentOf(input);
    std::error_code error;
    if (!image.isNull() && writeConverted(image, wanted, made) &&
        identityOf(input.file) == before) {
        fs::rename(made, input.file, error);
        if (error) Log("Cannot write " + input.file.native() + ": " + error.message());
    }
    fs::remove(made, error);
}

bool isAlike(const WantedPixels& content, const WantedPixels& wanted) {
    return content.type == wanted.type && content.colours == wanted.colours &&
           meansTheSame(content.colourProfile, wanted.colourProfile);
}

// What all inputs are to be.
WantedPixels wantedOf(const std::vector<RunInput>& inputs,
                      const std::vector<WantedPixels>& contents) {
    WantedPixels wanted = {SampleType::uint8, 1, {}};
    for (const WantedPixels& content : contents) {
        wanted.type = std::max(wanted.type, content.type);
        wanted.colours = std::max(wanted.colours, content.colours);
    }
    // A file that has to stay as it is decides on the profile before those that can be converted.
    for (const bool ours : {false, true}) {
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            if (contents[i].colours == wanted.colours && isOurs(inputs[i].file) == ours) {
                wanted.colourProfile = contents[i].colourProfile;
                return wanted;
            }
        }
    }
    return wanted;
}

}  // namespace

SampleType makeAlike(const std::vector<RunInput>& inputs) {
    std::vector<WantedPixels> contents;
    for (const RunInput& input : inputs) {
        const Image content = contentOf(input);
        const PixelFormat format = content.format();
        contents.push_back({format.type, format.colours, content.colourProfile()});
    }
    const WantedPixels wanted = wantedOf(inputs, contents);
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        if (isOurs(inputs[i].file) && !isAlike(contents[i], wanted)) convert(inputs[i], wanted);
    }
    return wanted.type;
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
