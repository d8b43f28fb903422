// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/picture/Upright.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace lumaweave {

namespace {

// Where an upright picture's pixels come from: exchanging the axes first, then mirroring.
struct Turn {
    bool exchanged;  // upright rows are the stored columns
    bool mirroredX;  // the stored columns count from the right
    bool mirroredY;  // the stored rows count from the bottom
};

Turn turnFor(int orientation) {
    switch (orientation) {
        case 2:
            return {false, true, false};
        case 3:
            return {false, true, true};
        case 4:
            return {false, false, true};
        case 5:
            return {true, false, false};
        case 6:
            return {true, false, true};
        case 7:
            return {true, true, true};
        case 8:
            return {true, true, false};
        default:
            return {false, false, false};
    }
}

// Some upright rows. The compiler knows the size of a pixel, so that copying one is no call: a
// small file may claim hundreds of megapixels.
template <std::size_t pixelBytes>
void turnRows(const PixelData& sideways, const Turn& turn, const PixelData& upright, int top,
              int count, std::byte* strip) {
    const std::size_t rowBytes = upright.bytesPerRow();
    // Along the stored rows, which may lie far apart in a file.
    const int outer = turn.exchanged ? upright.width : count;
    const int inner = turn.exchanged ? count : upright.width;
    for (int i = 0; i < outer; ++i) {
        const int line = turn.exchanged ? i : top + i;
        const std::byte* from =
            sideways.row<std::byte>(turn.mirroredY ? sideways.height - 1 - line : line);
        for (int j = 0; j < inner; ++j) {
            const int place = turn.exchanged ? top + j : j;
            const int column = turn.mirroredX ? sideways.width - 1 - place : place;
            const int x = turn.exchanged ? i : j;
            const int y = turn.exchanged ? j : i;
            std::memcpy(strip + static_cast<std::size_t>(y) * rowBytes +
                            static_cast<std::size_t>(x) * pixelBytes,
                        from + static_cast<std::size_t>(column) * pixelBytes, pixelBytes);
        }
    }
}

// Calls function.template operator()<pixelBytes>(): 1 to 4 samples of 1, 2 or 4 bytes.
template <typename Function>
void withPixelBytes(int pixelBytes, const Function& function) {
    switch (pixelBytes) {
        case 1:
            return function.template operator()<1>();
        case 2:
            return function.template operator()<2>();
        case 3:
            return function.template operator()<3>();
        case 4:
            return function.template operator()<4>();
        case 6:
            return function.template operator()<6>();
        case 8:
            return function.template operator()<8>();
        case 12:
            return function.template operator()<12>();
        default:
            return function.template operator()<16>();
    }
}

}  // namespace

PixelData uprightDescription(const PixelData& sideways, int orientation) {
    PixelData upright = sideways;
    if (turnFor(orientation).exchanged) std::swap(upright.width, upright.height);
    upright.bytes = nullptr;
    upright.owner = nullptr;
    return upright;
}

bool readUprightRows(const PixelData& sideways, int orientation, int stripRows,
                     const std::function<bool(const void* rows, int rowCount)>& take) {
    const Turn turn = turnFor(orientation);
    const PixelData upright = uprightDescription(sideways, orientation);
    std::vector<std::byte> strip(upright.bytesPerRow() * static_cast<std::size_t>(stripRows));
    for (int top = 0; top < upright.height; top += stripRows) {
        const int count = std::min(stripRows, upright.height - top);
        withPixelBytes(sideways.format.bytesPerPixel(), [&]<std::size_t pixelBytes>() {
            turnRows<pixelBytes>(sideways, turn, upright, top, count, strip.data());
        });
        if (!take(strip.data(), count)) return false;
    }
    return true;
}

}  // namespace lumaweave
