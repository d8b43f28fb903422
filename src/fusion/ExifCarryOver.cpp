#include "fusion/ExifCarryOver.h"

#include "app/Services.h"
#include "app/SharedState.h"
#include "imaging/ImageDecoder.h"
#include "imaging/Metadata.h"
#include "imaging/MetadataWriter.h"
#include "platform/Log.h"
#include "sources/SourceCellViewController.h"

namespace lumaweave {

void GetSourceEXIF() {
    gSourceImageEXIF.reset();
    for (const SourceCellViewController* cell : gSourceCells) {
        if (cell->theImage().isNull()) continue;
        const auto metadata = readMetadata(cell->urlToOriginalFile());
        Log("Image Properties Data : " + (metadata ? metadata->description() : "(null)"));
        if (metadata) {
            gSourceImageEXIF = metadata;
            PrintLine("Got EXIF data from source...");
            return;
        }
        PrintLine("No EXIF data in source...");
    }
}

void CopyImageFileAndAddEXIF(const std::filesystem::path& source,
                             const std::filesystem::path& destination,
                             const std::shared_ptr<const Metadata>& properties) {
    if (!isDecodable(source)) {
        DoAlert(
            "CopyImageFileAndAddEXIF: CGImageSourceCreateWithURL() failed!  This means the Enfuse "
            "was unsuccessful, so check the Console log and look for any error messages from "
            "Enfuse.");
        return;
    }
    // A file without anything to add is a plain copy of itself already.
    if (properties == nullptr && source == destination) return;
    if (!copyTiffWithMetadata(source, destination, properties.get())) {
        DoAlert(
            "CopyImageFileAndAddEXIF: CGImageDestinationCreateWithURL() failed!  This possibly "
            "means that Enfuse wrote out a corrupt TIFF file (as it sometimes does on Mac OS "
            "10.6).  Try again.");
    }
}

}  // namespace lumaweave
