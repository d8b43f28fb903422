// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <cstddef>
#include <memory>
#include <vector>

#include "imaging/picture/Image.h"

// How pictures are held. For src/imaging, its tests and fixtures, and benchmarks only.

namespace lumaweave {

// Rows of interleaved samples, top row first, each row directly behind the one before it, samples
// in the machine's byte order. `owner` keeps the bytes alive.
struct PixelData {
    int width = 0;
    int height = 0;
    PixelFormat format;
    QByteArray colourProfile;
    double pixelsPerMillimetre = 72.0 / 25.4;
    const std::byte* bytes = nullptr;
    std::shared_ptr<const void> owner;

    [[nodiscard]] std::size_t bytesPerRow() const {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(format.bytesPerPixel());
    }
    [[nodiscard]] std::size_t byteCount() const {
        return bytesPerRow() * static_cast<std::size_t>(height);
    }
    template <typename Sample>
    [[nodiscard]] const Sample* row(int y) const {
        return reinterpret_cast<const Sample*>(bytes + static_cast<std::size_t>(y) * bytesPerRow());
    }
};

// A picture under construction in memory, its bytes zero at first.
class PixelBuffer {
  public:
    PixelBuffer(int width, int height, const PixelFormat& format);

    template <typename Sample>
    [[nodiscard]] Sample* row(int y) {
        return reinterpret_cast<Sample*>(bytes_->data() +
                                         static_cast<std::size_t>(y) * data_.bytesPerRow());
    }
    // The description; complete it (profile, resolution) before finish().
    [[nodiscard]] PixelData& description() { return data_; }
    [[nodiscard]] Image finish() &&;

  private:
    PixelData data_;
    std::shared_ptr<std::vector<std::byte>> bytes_;
};

// Calls function.template operator()<Sample>() with the C++ type of the samples.
template <typename Function>
decltype(auto) withSampleType(SampleType type, Function&& function) {
    switch (type) {
        case SampleType::uint8:
            return function.template operator()<unsigned char>();
        case SampleType::uint16:
            return function.template operator()<unsigned short>();
        case SampleType::float32:
            break;
    }
    return function.template operator()<float>();
}

// The sample value that means full intensity, or opaque.
template <typename Sample>
constexpr Sample fullValue() {
    if constexpr (sizeof(Sample) == 1) return 255;
    if constexpr (sizeof(Sample) == 2) return 65535;
    return static_cast<Sample>(1);
}

}  // namespace lumaweave
