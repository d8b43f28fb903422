#include "fusion/WorkingFiles.h"

#include <atomic>
#include <string>

#include "app/Services.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

std::atomic<bool> alreadyTold = false;

fs::path numbered(const char* name, int n) {
    return workingFolder() / std::string(name).append(" ").append(std::to_string(n)).append(".tif");
}

}  // namespace

fs::path GetURLToEnfusedPreviewFile() {
    return workingFolder() / "EnfusedPreview.tif";
}
fs::path GetURLToEnfusedDetailFile() {
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

void alertWorkingFolderUnwritable() {
    if (alreadyTold.exchange(true)) return;
    DoAlert("The working folder cannot be written: " + workingFolder().native() +
            ".  Please make sure that the disk has room and that the folder may be written.");
}

void noteWorkingFolderWritten() {
    alreadyTold = false;
}

}  // namespace lumaweave
