// SPDX-License-Identifier: GPL-3.0-or-later

// Writes the seeds that command-line tools cannot make: lumaweave-make-seeds FOLDER.

#include <filesystem>
#include <fstream>

#include "support/FormatFixtures.h"
#include "support/Pictures.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;

namespace {

Image picture(SampleType type) {
    return makeImage(24, 17, {.type = type},
                     [](int x, int y, int s) { return ((x * 7 + y * 5 + s * 40) % 97) / 96.0; });
}

void writeAll(const fs::path& folder) {
    const Image bytes = picture(SampleType::uint8);
    const Image words = picture(SampleType::uint16);
    const Image floats = picture(SampleType::float32);
    writeHeif(bytes, folder / "hevc.heic", {});
    writeHeif(words, folder / "hevc-10-turned.heic", {.bits = 10, .orientation = 6});
    writeHeif(bytes, folder / "av1.avif", {.av1 = true});
    writeJxl(bytes, folder / "bytes.jxl");
    writeJxl(floats, folder / "floats.jxl", 6);
    writeJpeg2000(bytes, folder / "bytes.jp2", {});
    writeJpeg2000(words, folder / "words.j2k", {.bits = 12, .codestreamOnly = true});
    writeExr(floats, folder / "half.exr", {.half = true});
    writeExr(floats, folder / "tiled.exr", {.tiled = true, .overscan = 2});
    writeRadiance(floats, folder / "plain.hdr");
    writeDng(48, 32, [](int x, int y, int) { return (x + y) / 80.0; }, folder / "mosaic.dng", {});
    std::ofstream(folder / "small.ppm", std::ios::binary) << "P6 2 2 255\nabcdefghijkl";
}

}  // namespace

}  // namespace lumaweave

int main(int argc, char** argv) {
    if (argc != 2) return 1;
    lumaweave::writeAll(argv[1]);
    return 0;
}
