// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

#include "platform/Outcome.h"

namespace lumaweave {

class Metadata;

// Copies a TIFF file, every page of it, byte for byte in its pixels, and gives each page the
// metadata (null: none). What the pages say of their own pixels stays: size, compression,
// resolution, colour profile. The orientation becomes upright. Replaces what a file was given
// before (its bytes stay behind, unused). The destination, which may be the source itself,
// appears whole or stays as it was. Fails, which is logged too, when the file is no TIFF or is
// damaged, or the copy cannot be written. Any thread.
Outcome copyTiffWithMetadata(const std::filesystem::path& source,
                             const std::filesystem::path& destination, const Metadata* metadata);

}  // namespace lumaweave
