#pragma once

#include <chrono>

#include "imaging/formats/VipsLibrary.h"
#include "platform/FileDescriptor.h"

namespace lumaweave {

// What libvips reads a file from: gives out its bytes as long as the thread that reads has not
// worked for more than decodingTime since it began, then fails. Some kilobytes can keep a decoder
// busy for hours (thousands of scans over a large picture, the same strip again and again); it has
// to ask for them, though. The descriptor may be closed meanwhile. Throws as libvips does.
[[nodiscard]] vips::VSource timedSource(const FileDescriptor& file);

// The same with a time of the caller's.
[[nodiscard]] vips::VSource timedSource(const FileDescriptor& file, std::chrono::nanoseconds time);

// How long the thread that makes this may work from then on.
class WorkLimit {
  public:
    explicit WorkLimit(std::chrono::nanoseconds time);
    // Asked by the same thread.
    [[nodiscard]] bool isOver() const;

  private:
    std::chrono::nanoseconds end_;
};

}  // namespace lumaweave
