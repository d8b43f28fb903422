#include "imaging/VipsLibrary.h"

#include <tiffio.h>

#include <mutex>

#include "platform/Log.h"

namespace lumaweave {

void startVips() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (vips_init("lumaweave") != 0) Log("The image library could not be started");
        TIFFSetWarningHandler(nullptr);  // unknown tags are every camera's habit
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
