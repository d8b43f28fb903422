// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/VipsLibrary.h"

#include <tiffio.h>

#include <mutex>

#include "platform/Log.h"

namespace lumaweave {

void startVips() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (vips_init("lumaweave") != 0) logLine("The image library could not be started");
        // Unknown tags are every camera's habit, and a damaged file has a warning for each row.
        // (libvips takes libtiff's warnings, too, as soon as it reads a TIFF itself.)
        TIFFSetWarningHandler(nullptr);
        g_log_set_handler(
            "VIPS", G_LOG_LEVEL_WARNING,
            [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {}, nullptr);
        vips_cache_set_max(0);
        vips_concurrency_set(1);
        // libvips would read text, vector drawings and much else as pictures.
        vips_operation_block_set("VipsForeignLoad", TRUE);
        for (const char* loader :
             {"VipsForeignLoadJpeg", "VipsForeignLoadPng", "VipsForeignLoadJp2k",
              "VipsForeignLoadJxl", "VipsForeignLoadRad", "VipsForeignLoadTiff",
              "VipsForeignLoadWebp"}) {
            vips_operation_block_set(loader, FALSE);
        }
    });
}

}  // namespace lumaweave
