#include "imaging/Upright.h"

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
    const auto pixelBytes = static_cast<std::size_t>(sideways.format.bytesPerPixel());
    const std::size_t rowBytes = upright.bytesPerRow();
    std::vector<std::byte> strip(rowBytes * static_cast<std::size_t>(stripRows));
    const auto copyPixel = [&](int x, int y, std::byte* to) {
        const int column = turn.exchanged ? y : x;
        const int row = turn.exchanged ? x : y;
        const int fromX = turn.mirroredX ? sideways.width - 1 - column : column;
        const int fromY = turn.mirroredY ? sideways.height - 1 - row : row;
        std::memcpy(to,
                    sideways.row<std::byte>(fromY) + static_cast<std::size_t>(fromX) * pixelBytes,
                    pixelBytes);
    };
    for (int top = 0; top < upright.height; top += stripRows) {
        const int count = std::min(stripRows, upright.height - top);
        // Along the stored rows, which may lie far apart in a file.
        const int outer = turn.exchanged ? upright.width : count;
        const int inner = turn.exchanged ? count : upright.width;
        for (int i = 0; i < outer; ++i) {
            for (int j = 0; j < inner; ++j) {
                const int x = turn.exchanged ? i : j;
                const int y = turn.exchanged ? j : i;
                copyPixel(x, top + y,
                          strip.data() + static_cast<std::size_t>(y) * rowBytes +
                              static_cast<std::size_t>(x) * pixelBytes);
            }
        }
        if (!take(strip.data(), count)) return false;
    }
    return true;
}

}  // namespace lumaweave
