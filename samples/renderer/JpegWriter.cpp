// SPDX-License-Identifier: GPL-3.0-or-later
#include "JpegWriter.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

// libjpeg's header relies on <cstdio> before it.
#include <jpeglib.h>

namespace lumaweave {

namespace {

/// libjpeg reports failures through a C callback that must not return.
struct ErrorHandler {
    jpeg_error_mgr base;
    std::jmp_buf escape;
    char message[JMSG_LENGTH_MAX];
};

struct Encoded {
    unsigned char* data = nullptr;
    unsigned long size = 0;
};

void onError(j_common_ptr info) {
    auto* handler = reinterpret_cast<ErrorHandler*>(info->err);
    handler->base.format_message(info, handler->message);
    std::longjmp(handler->escape, 1);
}

/// Holds nothing that needs a destructor, since a failure jumps out of it.
bool compress(const PixelImage& image, int quality, ErrorHandler& handler, Encoded& out) {
    jpeg_compress_struct info;
    info.err = jpeg_std_error(&handler.base);
    handler.base.error_exit = onError;
    if (setjmp(handler.escape) != 0) {
        jpeg_destroy_compress(&info);
        return false;
    }
    jpeg_create_compress(&info);
    jpeg_mem_dest(&info, &out.data, &out.size);
    info.image_width = static_cast<JDIMENSION>(image.width);
    info.image_height = static_cast<JDIMENSION>(image.height);
    info.input_components = 3;
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, quality, TRUE);
    info.optimize_coding = TRUE;
    jpeg_start_compress(&info, TRUE);
    const std::size_t stride = 3 * static_cast<std::size_t>(image.width);
    while (info.next_scanline < info.image_height) {
        // The encoder only reads the row, though its interface is not const.
        auto* row = const_cast<JSAMPLE*>(image.rgb.data() + info.next_scanline * stride);
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    return true;
}

}  // namespace

std::vector<std::uint8_t> encodeJpeg(const PixelImage& image, int quality) {
    ErrorHandler handler{};
    Encoded encoded;
    const bool done = compress(image, quality, handler, encoded);
    std::vector<std::uint8_t> bytes;
    if (done) {
        bytes.assign(encoded.data, encoded.data + encoded.size);
    }
    std::free(encoded.data);
    if (!done) {
        throw std::runtime_error(std::string("cannot encode a JPEG: ") + handler.message);
    }
    return bytes;
}

}  // namespace lumaweave
