// SPDX-License-Identifier: GPL-3.0-or-later
#include "stack/WorkingFiles.h"

#include <string>

#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

fs::path numbered(const char* name, int n) {
    return workingFolder() / std::string(name).append(" ").append(std::to_string(n)).append(".tif");
}

}  // namespace

fs::path GetURLToEnfusedPreviewFile() {
    return workingFolder() / "EnfusedPreview.tif";
}
fs::path enfusedDetailFile() {
    return workingFolder() / "EnfusedDetail.tif";
}
fs::path GetURLToScaledSourceFile(int n) {
    return numbered("ScaledSourceImage", n);
}
fs::path GetURLToDetailImageFile(int n) {
    return numbered("DetailImage", n);
}
fs::path GetURLToTIFFedSource(int n) {
    return numbered("ConvertedToTIFF", n);
}

}  // namespace lumaweave
