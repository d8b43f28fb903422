// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdlib>
#include <system_error>

#include "ScratchFolder.h"
#include "Targets.h"
#include "imaging/decoding/DecoderHere.h"
#include "imaging/formats/HeldPixels.h"

namespace lumaweave::fuzz {

namespace fs = std::filesystem;

namespace {

// Looks at the pixels of a working copy: a map that does not hold them would show.
void touch(const Image& image) {
    if (image.isNull()) return;
    const Image small = image.thinned(1, 1);
    if (small.isNull()) std::abort();
}

}  // namespace

void decodePicture(Bytes file) {
    const fs::path path = writeScratch("picture", file);
    const fs::path target = scratchFolder() / "picture.tif";
    // The program hands such files to the reader, which decodes them within limits that this
    // process does not have.
    constexpr std::uint64_t most = std::uint64_t{256} << 20;
    if (pixelBytesHeldAtOnce(path) > most) return;
    const DecodedFile decoded = decodeToTiffHere(path, target);
    touch(decoded.image);
    const bool left = fs::exists(target);
    if (left != !decoded.image.isNull()) std::abort();
    if ((decoded.failure == DecodeFailure::none) != left) std::abort();
    std::error_code ignored;
    fs::remove(target, ignored);
}

}  // namespace lumaweave::fuzz
