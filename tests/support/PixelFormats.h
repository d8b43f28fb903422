// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "imaging/picture/Image.h"

namespace lumaweave::test {

// Short names of pixel formats.
inline constexpr PixelFormat grey8 = {1, false, SampleType::uint8};
inline constexpr PixelFormat greyAlpha8 = {1, true, SampleType::uint8};
inline constexpr PixelFormat rgb8 = {3, false, SampleType::uint8};
inline constexpr PixelFormat rgba8 = {3, true, SampleType::uint8};
inline constexpr PixelFormat grey16 = {1, false, SampleType::uint16};
inline constexpr PixelFormat greyAlpha16 = {1, true, SampleType::uint16};
inline constexpr PixelFormat rgb16 = {3, false, SampleType::uint16};
inline constexpr PixelFormat rgba16 = {3, true, SampleType::uint16};
inline constexpr PixelFormat greyFloat = {1, false, SampleType::float32};
inline constexpr PixelFormat rgbFloat = {3, false, SampleType::float32};
inline constexpr PixelFormat rgbaFloat = {3, true, SampleType::float32};

}  // namespace lumaweave::test
