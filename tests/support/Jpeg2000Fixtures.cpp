// SPDX-License-Identifier: GPL-3.0-or-later
#include <openjpeg.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "imaging/picture/PixelData.h"
#include "support/FormatFixtures.h"
#include "support/TestFolder.h"

namespace lumaweave::test {

namespace {

int sampleAt(const PixelData& pixels, int x, int y, int s, int bits) {
    const int index = x * pixels.format.samples() + s;
    const int highest = (1 << bits) - 1;
    if (pixels.format.type == SampleType::uint8) {
        return (pixels.row<unsigned char>(y)[index] * highest + 127) / 255;
    }
    return static_cast<int>((std::int64_t{pixels.row<unsigned short>(y)[index]} * highest + 32767) /
                            65535);
}

// From RGB to luminance and colour differences, for sYCC.
void toLuminance(opj_image_t* image, int bits) {
    const auto count = static_cast<std::size_t>(image->comps[0].w) * image->comps[0].h;
    const double middle = 1 << (bits - 1);
    const int highest = (1 << bits) - 1;
    for (std::size_t i = 0; i < count; ++i) {
        const double r = image->comps[0].data[i];
        const double g = image->comps[1].data[i];
        const double b = image->comps[2].data[i];
        const double values[] = {0.299 * r + 0.587 * g + 0.114 * b,
                                 -0.168736 * r - 0.331264 * g + 0.5 * b + middle,
                                 0.5 * r - 0.418688 * g - 0.081312 * b + middle};
        for (int s = 0; s < 3; ++s)
            image->comps[s].data[i] =
                std::clamp(static_cast<int>(std::lround(values[s])), 0, highest);
    }
}

std::string bigEndian(std::size_t number) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(number >> shift & 0xFFU);
    return bytes;
}

// The library cannot: the box that names the colours by number becomes one with a profile.
void putProfileIn(const std::filesystem::path& path, const QByteArray& profile) {
    std::string bytes = readFile(path);
    const std::size_t headerBox = bytes.find("jp2h") - 4;
    const std::size_t colourBox = bytes.find("colr") - 4;
    const auto lengthAt = [&bytes](std::size_t at) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < 4; ++i)
            length = length << 8U | static_cast<unsigned char>(bytes[at + i]);
        return length;
    };
    const std::size_t oldLength = lengthAt(colourBox);
    const std::string content = std::string("colr\2\0\0", 7) + profile.toStdString();
    const std::size_t newLength = content.size() + 4;
    const std::size_t headerLength = lengthAt(headerBox) + newLength - oldLength;
    bytes.replace(colourBox, oldLength, bigEndian(newLength) + content);
    bytes.replace(headerBox, 4, bigEndian(headerLength));
    std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace

void writeJpeg2000(const Image& image, const std::filesystem::path& path,
                   const Jpeg2000Shape& shape) {
    const PixelData& pixels = image.pixels();
    const int samples = pixels.format.samples();
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.numresolution = 3;
    parameters.tcp_numlayers = 1;
    parameters.tcp_rates[0] = 0;
    parameters.cp_disto_alloc = 1;
    parameters.tcp_mct = pixels.format.colours == 3 && !shape.luminance ? 1 : 0;
    std::vector<opj_image_cmptparm_t> components(static_cast<std::size_t>(samples));
    for (opj_image_cmptparm_t& component : components) {
        component = {};
        component.dx = component.dy = 1;
        component.w = static_cast<OPJ_UINT32>(pixels.width);
        component.h = static_cast<OPJ_UINT32>(pixels.height);
        component.prec = static_cast<OPJ_UINT32>(shape.bits);
    }
    opj_image_t* picture = opj_image_create(
        static_cast<OPJ_UINT32>(samples), components.data(),
        shape.luminance ? OPJ_CLRSPC_SYCC
                        : (pixels.format.colours == 3 ? OPJ_CLRSPC_SRGB : OPJ_CLRSPC_GRAY));
    picture->x1 = static_cast<OPJ_UINT32>(pixels.width);
    picture->y1 = static_cast<OPJ_UINT32>(pixels.height);
    if (pixels.format.alpha) picture->comps[samples - 1].alpha = 1;
    for (int s = 0; s < samples; ++s) {
        for (int y = 0; y < pixels.height; ++y) {
            for (int x = 0; x < pixels.width; ++x)
                picture->comps[s].data[y * pixels.width + x] =
                    sampleAt(pixels, x, y, s, shape.bits);
        }
    }
    if (shape.luminance) toLuminance(picture, shape.bits);
    opj_codec_t* codec = opj_create_compress(shape.codestreamOnly ? OPJ_CODEC_J2K : OPJ_CODEC_JP2);
    opj_stream_t* stream = opj_stream_create_default_file_stream(path.c_str(), OPJ_FALSE);
    const bool written = opj_setup_encoder(codec, &parameters, picture) == OPJ_TRUE &&
                         opj_start_compress(codec, picture, stream) == OPJ_TRUE &&
                         opj_encode(codec, stream) == OPJ_TRUE &&
                         opj_end_compress(codec, stream) == OPJ_TRUE;
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(picture);
    if (!written) throw std::runtime_error("the JPEG 2000 could not be written");
    if (!pixels.colourProfile.isEmpty()) putProfileIn(path, pixels.colourProfile);
}

}  // namespace lumaweave::test
