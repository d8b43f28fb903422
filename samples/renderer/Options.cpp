// SPDX-License-Identifier: GPL-3.0-or-later
#include "Options.h"

#include <charconv>
#include <cmath>
#include <functional>
#include <map>
#include <numbers>
#include <thread>

namespace lumaweave {

namespace {

/// Half the width of a 36 mm frame over a focal length of 24 mm.
double standardFov() {
    return 2 * std::atan(18.0 / 24.0) * 180 / std::numbers::pi;
}

template <typename Number>
bool readNumber(std::string_view text, Number low, Number high, Number& out) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || !(value >= low) ||
        !(value <= high)) {
        return false;
    }
    out = value;
    return true;
}

bool readTurn(std::string_view text, std::vector<Turn>& turns) {
    const auto first = text.find(',');
    const auto second = first == std::string_view::npos ? first : text.find(',', first + 1);
    if (second == std::string_view::npos) {
        return false;
    }
    Turn turn;
    const bool good =
        readNumber(text.substr(0, first), -180.0, 180.0, turn.yaw) &&
        readNumber(text.substr(first + 1, second - first - 1), -90.0, 90.0, turn.pitch) &&
        readNumber(text.substr(second + 1), -180.0, 180.0, turn.roll);
    if (good) {
        turns.push_back(turn);
    }
    return good;
}

using Reader = std::function<bool(const std::string&)>;

std::map<std::string, Reader> readersFor(Options& o) {
    return {
        {"--width", [&o](const auto& t) { return readNumber(t, 16, 20000, o.width); }},
        {"--height", [&o](const auto& t) { return readNumber(t, 16, 20000, o.height); }},
        {"--shots", [&o](const auto& t) { return readNumber(t, 1, 15, o.shots); }},
        {"--ev-step", [&o](const auto& t) { return readNumber(t, 0.0, 5.0, o.evStep); }},
        {"--turn", [&o](const auto& t) { return readTurn(t, o.turns); }},
        {"--quality", [&o](const auto& t) { return readNumber(t, 1, 100, o.quality); }},
        {"--threads", [&o](const auto& t) { return readNumber(t, 1, 256, o.threads); }},
        {"--fov", [&o](const auto& t) { return readNumber(t, 5.0, 150.0, o.fovDegrees); }},
        {"--samples", [&o](const auto& t) { return readNumber(t, 1, 16, o.samples); }},
    };
}

void fillIn(Options& o) {
    if (o.height == 0) {
        o.height = static_cast<int>(std::lround(o.width * (o.panorama ? 1.0 / 2 : 2.0 / 3)));
    }
    if (o.fovDegrees <= 0) {
        o.fovDegrees = standardFov();
    }
    if (o.samples == 0) {
        o.samples = o.width < 1400 ? 2 : 3;
    }
    if (o.threads == 0) {
        o.threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    }
}

}  // namespace

std::string usageText() {
    return "Usage: render-bracket [OPTION]... OUTPUT_FOLDER\n"
           "Renders a room with a bright window as an exposure bracket of JPEG files,\n"
           "window-1.jpg being the darkest.\n"
           "\n"
           "  --width W             width in pixels (1920)\n"
           "  --height H            height in pixels (two thirds of the width)\n"
           "  --panorama            all directions from the middle of the room, as panorama-1.jpg\n"
           "                        and so on (height: half the width; no turns, no tags)\n"
           "  --shots N             number of shots (5)\n"
           "  --ev-step E           exposure values between shots (2)\n"
           "  --turn YAW,PITCH,ROLL degrees the camera is turned right, up and clockwise;\n"
           "                        the k-th --turn belongs to shot k (0,0,0)\n"
           "  --quality Q           JPEG quality, 1 to 100 (93)\n"
           "  --threads N           threads to render with (one per processor)\n"
           "  --fov DEGREES         horizontal field of view (73.74, a 24 mm lens)\n"
           "  --samples S           S x S rays per pixel (2 below a width of 1400, else 3)\n"
           "  --help                show this text\n";
}

std::optional<Options> parseOptions(const std::vector<std::string>& arguments,
                                    std::string& problem) {
    Options options;
    const auto readers = readersFor(options);
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& name = arguments[i];
        if (name == "--help") {
            options.help = true;
            return options;
        }
        if (name == "--panorama") {
            options.panorama = true;
            continue;
        }
        if (!name.starts_with("-")) {
            if (!options.folder.empty() || name.empty()) {
                problem = "give exactly one output folder";
                return std::nullopt;
            }
            options.folder = name;
            continue;
        }
        const auto reader = readers.find(name);
        if (reader == readers.end()) {
            problem = "unknown option " + name;
            return std::nullopt;
        }
        if (i + 1 == arguments.size() || !reader->second(arguments[i + 1])) {
            problem = "bad or missing value for " + name;
            return std::nullopt;
        }
        ++i;
    }
    if (options.folder.empty()) {
        problem = "no output folder given";
        return std::nullopt;
    }
    if (options.turns.size() > static_cast<std::size_t>(options.shots)) {
        problem = "more turns than shots";
        return std::nullopt;
    }
    fillIn(options);
    return options;
}

}  // namespace lumaweave
