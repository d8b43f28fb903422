// SPDX-License-Identifier: GPL-3.0-or-later
#include "align/AlignCommand.h"

#include <array>
#include <cmath>
#include <numbers>

#include "platform/Resources.h"
#include "platform/ShellQuoting.h"
#include "platform/WorkingFolder.h"
#include "stack/SharedState.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

constexpr std::array<const char*, sourceCellCount> suffixes = {
    "0000", "0001", "0002", "0003", "0004", "0005", "0006", "0007",
    "0008", "0009", "0010", "0011", "0012", "0013", "0014", "0015"};

}  // namespace

std::optional<fs::path> alignTool() {
    return pathForTool("align_image_stack", "align_image_stack");
}

std::string alignCommandText(const fs::path& executable, const fs::path& prefix,
                             const AlignSettings& settings) {
    std::string command;
    appendQuotedPath(command, executable);
    command += " -v ";
    command += " -a ";
    appendQuotedPath(command, prefix);
    if (settings.assumeFullFrameFisheye) command += " -e";
    if (settings.optimizeFOV) command += " -m";
    command += " -c " + std::to_string(settings.numControlPoints);
    command += " -g " + std::to_string(settings.gridSize);
    return command;
}

fs::path alignedImagePrefix() {
    return workingFolder() / "alignedImage";
}

fs::path alignedImageFile(int n) {
    fs::path path = alignedImagePrefix();
    path += suffixes.at(static_cast<std::size_t>(n));
    path += ".tif";
    return path;
}

fs::path alignedFieldOfViewFile() {
    fs::path path = alignedImagePrefix();
    path += ".hfov";
    return path;
}

std::optional<double> horizontalFieldOfView(double focalLengthIn35mm, QSize picture, bool fisheye) {
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
