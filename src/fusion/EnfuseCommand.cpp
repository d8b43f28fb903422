// SPDX-License-Identifier: GPL-3.0-or-later
#include "fusion/EnfuseCommand.h"

#include <array>
#include <charconv>
#include <string_view>

#include "platform/FixedTexts.h"
#include "platform/Resources.h"
#include "platform/ShellQuoting.h"
#include "settings/FusionSettings.h"
#include "stack/Alerts.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

// As "%f" in the C locale.
void appendFloat(std::string& command, double value) {
    std::array<char, 64> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                   std::chars_format::fixed, 6);
    command.append(digits.data(), end.ptr);
}

void appendOption(std::string& command, std::string_view option, int value) {
    command += option;
    command += std::to_string(value);
}

void appendOption(std::string& command, std::string_view option, float value) {
    command += option;
    appendFloat(command, static_cast<double>(value));
}

void appendWeight(std::string& command, std::string_view option, int menuIndex) {
    if (menuIndex <= 0) return;
    appendOption(command, option, static_cast<float>(menuIndex - 1) / 10.0F);
}

// From this position on a weight menu asks for a weight above zero.
constexpr int firstPositiveWeight = 2;

}  // namespace

std::string enfuseCommandText(const fs::path& executable, const fs::path& output,
                              const FusionSettings& settings) {
    std::string command;
    appendQuotedPath(command, executable);
    // The tool reads a negative count as levels less than the greatest possible number.
    if (settings.blendingPyramid != 0) {
        appendOption(command, " --levels=-", settings.blendingPyramid);
    }
    if (settings.ciecam02) command += " -c";
    command += " -o ";
    appendQuotedPath(command, output);
    command += " --verbose=6 ";
    if (settings.blend180) command += " -w";
    if (settings.ciecam02) command += " -c";
    if (settings.hardMask) command += " --hard-mask";
    if (settings.imageCacheSize > 0) appendOption(command, " -m ", settings.imageCacheSize);
    appendWeight(command, " --exposure-weight=", settings.exposureWeight);
    appendWeight(command, " --saturation-weight=", settings.saturationWeight);
    appendWeight(command, " --contrast-weight=", settings.contrastWeight);
    if (settings.contrastWeight >= firstPositiveWeight) {
        appendOption(command, " --contrast-min-curvature=", settings.contrastMinCurvature);
    }
    appendWeight(command, " --entropy-weight=", settings.entropyWeight);
    if (settings.entropyWeight >= firstPositiveWeight) {
        appendOption(command, " --entropy-window-size=", settings.entropyWindowSize);
    }
    if (settings.contrastWindowSize > 0) {
        appendOption(command, " --contrast-window-size=", settings.contrastWindowSize);
    }
    appendOption(command, " --exposure-sigma=", settings.exposureSigma);
    appendOption(command, " --exposure-mu=", settings.exposureMu);
    constexpr std::array<int, 3> depths = {8, 16, 32};
    constexpr int floatRow = 2;
    if (settings.outputDepthRow == floatRow) {
        command += " --depth=r32";
    } else {
        appendOption(command,
                     " --depth=", depths.at(static_cast<std::size_t>(settings.outputDepthRow)));
    }
    return command;
}

std::optional<fs::path> fusionTool() {
    return pathForTool("enfuse-openmp", "enfuse");
}

std::optional<std::string> CreateEnfuseCommandString(const fs::path& output) {
    const auto executable = fusionTool();
    if (!executable) {
        DoAlert(fixed_texts::noFusionTool);
        return std::nullopt;
    }
    if (!canBeQuoted(output)) {
        DoAlert(
            "The fused image cannot be written: the path of its file is too long or holds a "
            "character that the shell acts on.  Nothing was run.");
        return std::nullopt;
    }
    return enfuseCommandText(*executable, output, currentFusionSettings());
}

}  // namespace lumaweave
