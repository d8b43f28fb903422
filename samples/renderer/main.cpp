// SPDX-License-Identifier: GPL-3.0-or-later
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "ExifTags.h"
#include "Exposure.h"
#include "JpegWriter.h"
#include "LightBake.h"
#include "Options.h"
#include "Renderer.h"

namespace lumaweave {
namespace {

constexpr int kBadUsage = 2;

void writeFile(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

void makeFolder(const std::filesystem::path& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error || !std::filesystem::is_directory(folder)) {
        throw std::runtime_error("cannot create folder " + folder.string());
    }
}

/// Small pictures do not show the finer light.
BakeQuality bakeQualityFor(int width) {
    return width < 1000 ? BakeQuality{4, 4} : BakeQuality{6, 8};
}

void renderPanorama(const Options& options) {
    const Scene scene(View::AllRound);
    const Renderer renderer(scene, bakeLight(scene, bakeQualityFor(options.width), options.threads),
                            options.threads);
    const Camera camera = Camera::panorama(options.width, options.height);
    const RadianceImage light =
        renderer.render(camera, options.width, options.height, options.samples);
    for (const Shot& shot : bracketOf(options.shots, options.evStep)) {
        writeFile(options.folder / ("panorama-" + std::to_string(shot.number) + ".jpg"),
                  encodeJpeg(expose(light, shot, options.threads), options.quality));
    }
}

void renderBracket(const Options& options) {
    const Scene scene(View::TowardsWindow);
    const Renderer renderer(scene, bakeLight(scene, bakeQualityFor(options.width), options.threads),
                            options.threads);
    RadianceImage light;
    Turn lastTurn;
    for (const Shot& shot : bracketOf(options.shots, options.evStep)) {
        const auto index = static_cast<std::size_t>(shot.number - 1);
        const Turn turn = index < options.turns.size() ? options.turns[index] : Turn{};
        // Shots from the same pose share their light.
        if (light.rgb.empty() || !(turn == lastTurn)) {
            const Camera camera(options.width, options.height, options.fovDegrees, turn);
            light = renderer.render(camera, options.width, options.height, options.samples);
            lastTurn = turn;
        }
        const PixelImage picture = expose(light, shot, options.threads);
        const auto jpeg = encodeJpeg(picture, options.quality);
        writeFile(options.folder / ("window-" + std::to_string(shot.number) + ".jpg"),
                  withExif(jpeg, shot, options.width, options.height, options.fovDegrees));
    }
}

int run(const std::vector<std::string>& arguments) {
    std::string problem;
    const auto options = parseOptions(arguments, problem);
    if (!options) {
        std::cerr << "render-bracket: " << problem << "\n" << usageText();
        return kBadUsage;
    }
    if (options->help) {
        std::cout << usageText();
        return 0;
    }
    try {
        makeFolder(options->folder);
        if (options->panorama) {
            renderPanorama(*options);
        } else {
            renderBracket(*options);
        }
    } catch (const std::exception& error) {
        std::cerr << "render-bracket: " << error.what() << "\n";
        return 1;
    }
    return 0;
}

}  // namespace
}  // namespace lumaweave

int main(int argc, char** argv) {
    return lumaweave::run({argv + 1, argv + argc});
}
