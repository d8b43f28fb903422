// SPDX-License-Identifier: GPL-3.0-or-later
#include "Inputs.h"

#include <atomic>
#include <string>
#include <thread>

#include "Scene.h"
#include "imaging/formats/VipsLibrary.h"

namespace lumaweave::bench {

namespace fs = std::filesystem;
using vips::VImage;

namespace {

constexpr double stopsBetweenShots = 1.5;
constexpr int jpegQuality = 95;

fs::path photo(const fs::path& folder, int index) {
    return folder / ("photo-" + std::to_string(index) + ".jpg");
}

void savePhoto(const Scene& scene, int index, const fs::path& file) {
    std::vector<unsigned char> pixels =
        scene.shot((index - (differentPhotos - 1) / 2.0) * stopsBetweenShots);
    VImage::new_from_memory(pixels.data(), pixels.size(), scene.width(), scene.height(), 3,
                            VIPS_FORMAT_UCHAR)
        .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB))
        .jpegsave(file.c_str(), VImage::option()
                                    ->set("Q", jpegQuality)
                                    ->set("subsample_mode", VIPS_FOREIGN_SUBSAMPLE_ON));
}

}  // namespace

void makePhotos(const fs::path& folder) {
    startVips();
    const Scene scene(photoWidth, photoHeight);
    std::atomic<int> next = 0;
    const auto work = [&] {
        for (int i = next++; i < differentPhotos; i = next++)
            savePhoto(scene, i, photo(folder, i));
    };
    std::jthread second(work);
    work();
    second.join();
    for (int i = differentPhotos; i < mostPhotos; ++i) {
        fs::create_hard_link(photo(folder, i % differentPhotos), photo(folder, i));
    }
}

std::vector<fs::path> photos(const fs::path& folder, int count) {
    std::vector<fs::path> result;
    for (int i = 0; i < count; ++i)
        result.push_back(photo(folder, i));
    return result;
}

}  // namespace lumaweave::bench
