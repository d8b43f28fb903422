// SPDX-License-Identifier: GPL-3.0-or-later
#include <libheif/heif.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include "imaging/formats/VipsLibrary.h"
#include "imaging/picture/PixelData.h"
#include "support/FormatFixtures.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"

namespace lumaweave::test {

namespace {

void check(const heif_error& error) {
    if (error.code != heif_error_Ok) throw std::runtime_error(error.message);
}

// 16-bit samples as the file's number of bits, the least significant byte first.
void copyDeepRow(const unsigned short* from, int samples, int bits, unsigned char* to) {
    const unsigned highest = (1U << bits) - 1U;
    for (int i = 0; i < samples; ++i) {
        const unsigned value = (from[i] * highest + 32767U) / 65535U;
        to[2 * i] = static_cast<unsigned char>(value & 0xFFU);
        to[2 * i + 1] = static_cast<unsigned char>(value >> 8U);
    }
}

heif_image* heifImage(const Image& image, const HeifShape& shape) {
    const PixelData& pixels = image.pixels();
    const bool alpha = pixels.format.alpha;
    const heif_chroma kind =
        shape.bits > 8
            ? (alpha ? heif_chroma_interleaved_RRGGBBAA_LE : heif_chroma_interleaved_RRGGBB_LE)
            : (alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB);
    heif_image* result = nullptr;
    check(heif_image_create(pixels.width, pixels.height, heif_colorspace_RGB, kind, &result));
    check(heif_image_add_plane(result, heif_channel_interleaved, pixels.width, pixels.height,
                               shape.bits));
    int stride = 0;
    unsigned char* plane = heif_image_get_plane(result, heif_channel_interleaved, &stride);
    for (int y = 0; y < pixels.height; ++y) {
        unsigned char* to = plane + std::ptrdiff_t{y} * stride;
        if (shape.bits > 8) {
            copyDeepRow(pixels.row<unsigned short>(y), pixels.width * pixels.format.samples(),
                        shape.bits, to);
        } else {
            std::memcpy(to, pixels.row<std::byte>(y), pixels.bytesPerRow());
        }
    }
    const QByteArray& profile = pixels.colourProfile;
    if (!profile.isEmpty()) {
        check(heif_image_set_raw_color_profile(result, "prof", profile.constData(),
                                               static_cast<std::size_t>(profile.size())));
    }
    return result;
}

void setLossless(heif_encoder* encoder, const HeifShape& shape) {
    check(heif_encoder_set_lossless(encoder, 1));
    check(heif_encoder_set_parameter_string(encoder, "chroma", "444"));
    if (shape.av1) check(heif_encoder_set_parameter_integer(encoder, "speed", 8));
}

// The library ends a program that asks it for 10 bits as AV1, so a tool writes them.
void writeAvifOfTenBits(const Image& image, const std::filesystem::path& path,
                        const HeifShape& shape) {
    const TestFolder folder;
    vipsImage(image).pngsave((folder / "picture.png").c_str());
    // Quarter turns against the clock first, then mirroring (0: top to bottom, 1: left to right).
    const std::string transformations[] = {
        "",         "--imir 1",          "--irot 2", "--imir 0", "--irot 1 --imir 0",
        "--irot 3", "--irot 1 --imir 1", "--irot 1"};
    const std::string command =
        "avifenc -d 10 -y 444 --min 0 --max 0 --minalpha 0 --maxalpha 0 -s 8 " +
        transformations[shape.orientation - 1] +
        (shape.primaries ? " --cicp " + std::to_string(*shape.primaries) + "/13/6" : "") + " '" +
        (folder / "picture.png").native() + "' '" + (folder / "picture.avif").native() +
        "' >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0) throw std::runtime_error("no AVIF was written");
    std::filesystem::copy_file(folder / "picture.avif", path,
                               std::filesystem::copy_options::overwrite_existing);
}

}  // namespace

void writeHeif(const Image& image, const std::filesystem::path& path, const HeifShape& shape) {
    if (shape.av1 && shape.bits == 10) {
        writeAvifOfTenBits(image, path, shape);
        return;
    }
    heif_context* context = heif_context_alloc();
    heif_encoder* encoder = nullptr;
    check(heif_context_get_encoder_for_format(
        context, shape.av1 ? heif_compression_AV1 : heif_compression_HEVC, &encoder));
    setLossless(encoder, shape);
    heif_image* pixels = heifImage(image, shape);
    heif_encoding_options* options = heif_encoding_options_alloc();
    options->image_orientation = static_cast<heif_orientation>(shape.orientation);
    heif_image_handle* handle = nullptr;
    check(heif_context_encode_image(context, pixels, encoder, options, &handle));
    if (shape.exifOrientation) {
        const std::string exif = std::string("II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0", 18) +
                                 static_cast<char>(*shape.exifOrientation) + std::string(7, '\0');
        check(heif_context_add_exif_metadata(context, handle, exif.data(),
                                             static_cast<int>(exif.size())));
    }
    check(heif_context_write_to_file(context, path.c_str()));
    heif_image_handle_release(handle);
    heif_encoding_options_free(options);
    heif_image_release(pixels);
    heif_encoder_release(encoder);
    heif_context_free(context);
}

}  // namespace lumaweave::test
