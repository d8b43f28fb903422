#pragma once

#include <filesystem>
#include <memory>

namespace lumaweave {

class Metadata;

// Looks after the metadata of a fused file. For now it checks that the tool has left a picture, and
// alerts when it has not; the file itself stays as the tool wrote it, whatever the properties. Any
// thread; no lock may be held.
void CopyImageFileAndAddEXIF(const std::filesystem::path& source,
                             const std::filesystem::path& destination,
                             const std::shared_ptr<const Metadata>& properties);

}  // namespace lumaweave
