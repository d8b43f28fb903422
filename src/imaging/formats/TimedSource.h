// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>

#include "imaging/formats/VipsLibrary.h"
#include "platform/FileDescriptor.h"

namespace lumaweave {

// What libvips reads a file from. It gives out bytes until the thread that reads has worked for
// decodingTime, then fails. Some kilobytes can keep a decoder busy for hours (thousands of scans
// over a large picture, the same strip again and again), but it has to ask for them. The descriptor
// may be closed meanwhile. Throws as libvips does.
[[nodiscard]] vips::VSource timedSource(const FileDescriptor& file);

// The same with the caller's own time.
[[nodiscard]] vips::VSource timedSource(const FileDescriptor& file, std::chrono::nanoseconds time);

}  // namespace lumaweave
