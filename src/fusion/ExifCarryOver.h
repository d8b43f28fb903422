// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>

namespace lumaweave {

class Metadata;

// The camera's data, from the shots into the fused file. Any thread; no lock may be held.

// The metadata of the first usable shot, to be written into the result. The thread of a full-size
// run writes and reads it; such runs take turns.
extern std::shared_ptr<const Metadata> gSourceImageEXIF;

// Sets gSourceImageEXIF to the metadata of the first cell that holds an image and whose file (the
// one that the user added) has any, in use or not; to null when there is none.
void GetSourceEXIF();

// Writes the image file at `source` to `destination` (the same one: in its place) with the
// properties in every page of it, pixels untouched; null properties make a plain copy. When the
// source is no image, or the copy cannot be written, an alert says so and the destination stays as
// it was.
void CopyImageFileAndAddEXIF(const std::filesystem::path& source,
                             const std::filesystem::path& destination,
                             const std::shared_ptr<const Metadata>& properties);

}  // namespace lumaweave
