#include "fusion/ExifCarryOver.h"

#include "app/Services.h"
#include "imaging/ImageDecoder.h"

namespace lumaweave {

void CopyImageFileAndAddEXIF(const std::filesystem::path& source, const std::filesystem::path&,
                             const std::shared_ptr<const Metadata>&) {
    if (isDecodable(source)) return;
    DoAlert(
        "CopyImageFileAndAddEXIF: CGImageSourceCreateWithURL() failed!  This means the Enfuse was "
        "unsuccessful, so check the Console log and look for any error messages from Enfuse.");
}

}  // namespace lumaweave
