// SPDX-License-Identifier: GPL-3.0-or-later
#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfChromaticitiesAttribute.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfOutputFile.h>
#include <OpenEXR/ImfStandardAttributes.h>
#include <OpenEXR/ImfTiledOutputFile.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include "imaging/picture/PixelData.h"
#include "support/FormatFixtures.h"

// Files of linear light: OpenEXR and Radiance.

namespace lumaweave::test {

namespace {

template <typename Stored>
void writeChannels(const Image& image, const std::filesystem::path& path, const ExrShape& shape,
                   Imf::PixelType type) {
    const PixelData& pixels = image.pixels();
    const int samples = pixels.format.samples();
    std::vector<std::string> names = pixels.format.colours == 3
                                         ? std::vector<std::string>{"R", "G", "B"}
                                         : std::vector<std::string>{"Y"};
    if (pixels.format.alpha) names.emplace_back("A");
    const Imath::Box2i shown({0, 0}, {pixels.width - 1, pixels.height - 1});
    const int reach = shape.overscan;
    const Imath::Box2i stored({-reach, -reach},
                              {pixels.width - 1 + reach, pixels.height - 1 + reach});
    Imf::Header header(shown, stored);
    for (const std::string& name : names)
        header.channels().insert(name, Imf::Channel(type));
    if (const auto& c = shape.chromaticities; c.size() == 8) {
        Imf::addChromaticities(
            header, Imf::Chromaticities({c[0], c[1]}, {c[2], c[3]}, {c[4], c[5]}, {c[6], c[7]}));
    }
    const int width = stored.max.x - stored.min.x + 1;
    const int height = stored.max.y - stored.min.y + 1;
    std::vector<Stored> values(static_cast<std::size_t>(width * height * samples));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int fromX = x - reach;
            const int fromY = y - reach;
            const bool inside =
                fromX >= 0 && fromY >= 0 && fromX < pixels.width && fromY < pixels.height;
            for (int s = 0; s < samples; ++s) {
                // Outside the picture something that must not be seen.
                const float value = inside ? pixels.row<float>(fromY)[fromX * samples + s] : 100.0F;
                values[static_cast<std::size_t>((y * width + x) * samples + s)] = Stored(value);
            }
        }
    }
    Imf::FrameBuffer frame;
    const auto pixelBytes = sizeof(Stored) * static_cast<std::size_t>(samples);
    for (std::size_t s = 0; s < names.size(); ++s) {
        frame.insert(names[s], Imf::Slice::Make(type, values.data() + s, stored, pixelBytes,
                                                pixelBytes * static_cast<std::size_t>(width)));
    }
    if (shape.tiled) {
        header.setTileDescription(Imf::TileDescription(16, 16, Imf::ONE_LEVEL));
        Imf::TiledOutputFile file(path.c_str(), header);
        file.setFrameBuffer(frame);
        file.writeTiles(0, file.numXTiles() - 1, 0, file.numYTiles() - 1);
    } else {
        Imf::OutputFile file(path.c_str(), header);
        file.setFrameBuffer(frame);
        file.writePixels(height);
    }
}

}  // namespace

void writeExr(const Image& image, const std::filesystem::path& path, const ExrShape& shape) {
    if (shape.half) {
        writeChannels<half>(image, path, shape, Imf::HALF);
    } else {
        writeChannels<float>(image, path, shape, Imf::FLOAT);
    }
}

void writeRadiance(const Image& image, const std::filesystem::path& path, const char* axes) {
    const PixelData& pixels = image.pixels();
    std::ofstream file(path, std::ios::binary);
    const std::string order = axes;
    file << "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n"
         << order.substr(0, 2) << ' ' << pixels.height << ' ' << order.substr(3, 2) << ' '
         << pixels.width << '\n';
    for (int y = 0; y < pixels.height; ++y) {
        for (int x = 0; x < pixels.width; ++x) {
            const float* light = pixels.row<float>(y) + 3 * x;
            const float strongest = std::max({light[0], light[1], light[2]});
            int exponent = 0;
            std::frexp(strongest, &exponent);
            for (int s = 0; s < 3; ++s)
                file.put(static_cast<char>(
                    strongest <= 0 ? 0 : static_cast<int>(std::ldexp(light[s], 8 - exponent))));
            file.put(static_cast<char>(strongest <= 0 ? 0 : exponent + 128));
        }
    }
}

}  // namespace lumaweave::test
