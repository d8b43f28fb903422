#pragma once

#include <cstddef>

namespace lumaweave {

// Whether these bytes begin as an ICC profile does that speaks of pictures in this colour space:
// "RGB ", "GRAY" or "CMYK". libvips asks less, and reads and writes past its buffers where a grey
// profile comes with a picture in colours. Any thread.
[[nodiscard]] bool isProfileOf(const char* colourSpace, const void* profile, std::size_t size);

// The colour space of a picture with 1 or 3 colour samples, as profiles name it.
[[nodiscard]] inline const char* profileColourSpace(int colours) {
    return colours == 3 ? "RGB " : "GRAY";
}

}  // namespace lumaweave
