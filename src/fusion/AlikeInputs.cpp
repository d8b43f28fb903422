#include "fusion/AlikeInputs.h"

#include <sys/stat.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

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
void convert(const RunInput& input, SampleType type, bool toRgb, const QByteArray& rgbProfile) {
    const fs::path made = newScratchPath(".tif");
    const auto before = identityOf(input.file);
    const Image image = contentOf(input);
    std::error_code error;
    if (!image.isNull() && writeConverted(image, type, toRgb, rgbProfile, made) &&
        identityOf(input.file) == before) {
        fs::rename(made, input.file, error);
        if (error) Log("Cannot write " + input.file.native() + ": " + error.message());
    }
    fs::remove(made, error);
}

}  // namespace

SampleType makeAlike(const std::vector<RunInput>& inputs) {
    SampleType type = SampleType::uint8;
    bool anyColours = false;
    QByteArray rgbProfile;
    std::vector<PixelFormat> formats;
    for (const RunInput& input : inputs) {
        const Image content = contentOf(input);
        const PixelFormat& format = formats.emplace_back(content.format());
        type = std::max(type, format.type);
        if (format.colours == 3 && !std::exchange(anyColours, true)) {
            rgbProfile = content.colourProfile();
        }
    }
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        const bool isAlike = formats[i].type == type && (!anyColours || formats[i].colours == 3);
        if (!isAlike && isOurs(inputs[i].file)) {
            convert(inputs[i], type, anyColours, rgbProfile);
        }
    }
    return type;
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
    if (!fused.isNull() && writeConverted(fused, type, false, {}, result)) return;
    std::error_code ignored;
    fs::remove(result, ignored);
}

}  // namespace lumaweave
