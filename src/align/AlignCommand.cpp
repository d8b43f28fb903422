#include "align/AlignCommand.h"

#include <array>
#include <cmath>
#include <numbers>

#include "app/Services.h"
#include "app/SharedState.h"
#include "platform/Resources.h"
#include "platform/Threads.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

constexpr std::array<const char*, sourceCellCount> suffixes = {
    "0000", "0001", "0002", "0003", "0004", "0005", "0006", "0007",
    "0008", "0009", "0010", "0011", "0012", "0013", "0014", "0015"};

}  // namespace

AlignSettings CurrentAlignSettings() {
    AlignSettings settings;
    performOnMainThread(
        [&settings] {
            settings = {gAA_GridSize, gAA_NumControlPoints, gAA_AssumeFullFrameFisheye,
                        gAA_OptimizeFOV};
        },
        Wait::yes);
    return settings;
}

std::optional<fs::path> AlignTool() {
    return pathForTool("align_image_stack", "align_image_stack");
}

std::string AlignCommandText(const fs::path& executable, const fs::path& prefix,
                             const AlignSettings& settings) {
    std::string command;
    AppendQuotedPath(command, executable);
    command += " -v ";
    command += " -a ";
    AppendQuotedPath(command, prefix);
    if (settings.assumeFullFrameFisheye) command += " -e";
    if (settings.optimizeFOV) command += " -m";
    command += " -c " + std::to_string(settings.numControlPoints);
    command += " -g " + std::to_string(settings.gridSize);
    return command;
}

fs::path AlignedImagePrefix() {
    return workingFolder() / "alignedImage";
}

fs::path GetURLToAlignedImage(int n) {
    fs::path path = AlignedImagePrefix();
    path += suffixes.at(static_cast<std::size_t>(n));
    path += ".tif";
    return path;
}

fs::path AlignedFieldOfViewFile() {
    fs::path path = AlignedImagePrefix();
    path += ".hfov";
    return path;
}

std::optional<double> HorizontalFieldOfView(double focalLengthIn35mm, QSize picture, bool fisheye) {
    if (picture.isEmpty() || !(focalLengthIn35mm > 0)) return std::nullopt;
    const double frameDiagonal = std::hypot(36.0, 24.0);
    const double focalLength = focalLengthIn35mm / frameDiagonal *
                               std::hypot(picture.width(), picture.height());  // in pixels
    const double halfWidth = picture.width() / 2.0 / focalLength;
    const double angle = 2 * (fisheye ? halfWidth : std::atan(halfWidth)) * 180 / std::numbers::pi;
    // Beyond these the tool would model nonsense, or refuse.
    constexpr double smallest = 0.1;
    const double largest = fisheye ? 359 : 175;
    if (!(angle >= smallest && angle <= largest)) return std::nullopt;
    return angle;
}

}  // namespace lumaweave
