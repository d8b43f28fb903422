// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// libvips' C++ header, and its set-up. In the program for imaging/formats only, where libvips'
// exceptions end too.

#include <vips/vips8>

namespace lumaweave {

// Starts libvips once: no operation cache (it would keep pictures alive), one worker a pipeline
// (the program decodes several pictures side by side instead), and no loaders but those of
// photographs. Any thread; call it before any other use of libvips.
void startVips();

}  // namespace lumaweave
