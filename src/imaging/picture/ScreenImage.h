// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QImage>
#include <functional>

namespace lumaweave {

struct PixelData;

// Sets the colours of the screen: an RGB profile, or nothing for sRGB, which they are at first.
// Logs a profile that cannot be used, and passes it over. For pictures that are converted from then
// on; any thread.
void setScreenProfile(const QByteArray& profile);

// The picture as 8-bit RGBA in the colours of the screen. A profile that cannot be used (broken, or
// for another kind of picture) is passed over, as if the picture were sRGB. Any thread.
[[nodiscard]] QImage screenImage(const PixelData& source);

// The same into the caller's memory, rows of width x 4 bytes without gaps. As many threads as there
// are cores convert large pictures in strips; the calling one tells how far that is, from 0 to 1.
// Throws std::bad_alloc when memory runs out.
void screenPixels(const PixelData& source, unsigned char* rgba,
                  const std::function<void(double share)>& progressed = {});

// The picture's own values as 8-bit RGBA, whatever its profile says of them. Any thread.
[[nodiscard]] QImage fileValues(const PixelData& source);

}  // namespace lumaweave
