#pragma once

// libvips' C++ header, and its set-up. For imaging/*.cpp only; libvips' exceptions end there too.

#include <vips/vips8>

namespace lumaweave {

// Starts libvips once: no operation cache (it would keep pictures alive), one worker a pipeline
// (the program decodes several pictures side by side instead), and no loaders but those of
// photographs. Any thread; to be called before any other use of libvips.
void startVips();

}  // namespace lumaweave
