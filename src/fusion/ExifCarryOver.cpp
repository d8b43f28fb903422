// SPDX-License-Identifier: GPL-3.0-or-later
#include "fusion/ExifCarryOver.h"

#include "imaging/decoding/ImageDecoder.h"
#include "imaging/metadata/Metadata.h"
#include "imaging/metadata/MetadataWriter.h"
#include "platform/FixedTexts.h"
#include "platform/Log.h"
#include "stack/Alerts.h"
#include "stack/Shot.h"

namespace lumaweave {

std::shared_ptr<const Metadata> gSourceImageEXIF;

void GetSourceEXIF() {
    gSourceImageEXIF.reset();
    for (const Shot* shot : shots()) {
        if (shot->image().isNull()) continue;
        const auto metadata = readMetadata(shot->originalFile());
        logLine("Image Properties Data : " + (metadata ? metadata->description() : "(null)"));
        if (metadata) {
            gSourceImageEXIF = metadata;
            printLine("Got EXIF data from source...");
            return;
        }
        printLine("No EXIF data in source...");
    }
}

void CopyImageFileAndAddEXIF(const std::filesystem::path& source,
                             const std::filesystem::path& destination,
                             const std::shared_ptr<const Metadata>& properties) {
    if (!isDecodable(source)) {
        DoAlert(fixed_texts::resultUnreadableForMetadata);
        return;
    }
    // A file without anything to add is a plain copy of itself already.
    if (properties == nullptr && source == destination) return;
    if (!copyTiffWithMetadata(source, destination, properties.get())) {
        DoAlert(fixed_texts::resultUnwritableWithMetadata);
    }
}

}  // namespace lumaweave
