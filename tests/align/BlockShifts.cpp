// SPDX-License-Identifier: GPL-3.0-or-later
#include "align/BlockShifts.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "support/Pictures.h"

namespace lumaweave::test {

namespace {

using Complex = std::complex<double>;

// A picture's brightness and opacity, 0 to 1.
struct Brightness {
    explicit Brightness(const Image& picture)
        : width(picture.pixelsWide()), height(picture.pixelsHigh()) {
        const PixelFormat format = picture.format();
        const auto step = static_cast<std::size_t>(format.samples());
        const auto colours = static_cast<std::size_t>(format.colours);
        const std::vector<double> samples = samplesOf(picture);
        for (std::size_t i = 0; i < samples.size(); i += step) {
            double sum = 0;
            for (std::size_t s = 0; s < colours; ++s)
                sum += samples[i + s];
            values.push_back(sum / static_cast<double>(colours));
            opaque.push_back(!format.alpha || samples[i + colours] > 0.999);
        }
    }
    [[nodiscard]] std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
               static_cast<std::size_t>(x);
    }
    [[nodiscard]] double at(int x, int y) const { return values[index(x, y)]; }

    int width;
    int height;
    std::vector<double> values;
    std::vector<bool> opaque;
};

// In place; the length is a power of two.
void fourier(std::vector<Complex>& line, bool backward) {
    const std::size_t n = line.size();
    for (std::size_t i = 1, j = 0; i < n; ++i) {
        std::size_t bit = n >> 1;
        for (; (j & bit) != 0; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j) std::swap(line[i], line[j]);
    }
    for (std::size_t length = 2; length <= n; length *= 2) {
        const double angle = (backward ? 2 : -2) * std::numbers::pi / static_cast<double>(length);
        const Complex root = std::polar(1.0, angle);
        for (std::size_t begin = 0; begin < n; begin += length) {
            Complex turn = 1;
            for (std::size_t k = begin; k < begin + length / 2; ++k) {
                const Complex even = line[k];
                const Complex odd = line[k + length / 2] * turn;
                line[k] = even + odd;
                line[k + length / 2] = even - odd;
                turn *= root;
            }
        }
    }
}

// A square of numbers, its side a power of two.
struct Square {
    explicit Square(int sideLength)
        : side(sideLength),
          values(static_cast<std::size_t>(side) * static_cast<std::size_t>(side)) {}
    [[nodiscard]] Complex& at(int x, int y) {
        // Coordinates wrap around the edges.
        return values[static_cast<std::size_t>((y + side) % side) * static_cast<std::size_t>(side) +
                      static_cast<std::size_t>((x + side) % side)];
    }
    void transform(bool backward) {
        std::vector<Complex> line(static_cast<std::size_t>(side));
        for (const bool columns : {false, true}) {
            for (int i = 0; i < side; ++i) {
                for (int k = 0; k < side; ++k)
                    line[static_cast<std::size_t>(k)] = columns ? at(i, k) : at(k, i);
                fourier(line, backward);
                for (int k = 0; k < side; ++k)
                    (columns ? at(i, k) : at(k, i)) = line[static_cast<std::size_t>(k)];
            }
        }
    }

    int side;
    std::vector<Complex> values;
};

// The logarithm of the brightness around a point, without its mean, fading out to the edges.
Square spectrumAround(const Brightness& picture, QPoint centre, int side) {
    Square square(side);
    double sum = 0;
    const QPoint corner = centre - QPoint(side / 2, side / 2);
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            constexpr double floorOfNoise = 0.01;
            const double value =
                std::log(picture.at(corner.x() + x, corner.y() + y) + floorOfNoise);
            square.at(x, y) = value;
            sum += value;
        }
    }
    const double mean = sum / (static_cast<double>(side) * side);
    const auto window = [side](int i) {
        return 0.5 - 0.5 * std::cos(2 * std::numbers::pi * (i + 0.5) / side);
    };
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x)
            square.at(x, y) = (square.at(x, y) - mean) * window(x) * window(y);
    }
    square.transform(false);
    return square;
}

// Where the top of a peak lies between three neighbouring values of it.
double topOf(double before, double middle, double after) {
    const auto logarithm = [](double value) { return std::log(std::max(value, 1e-12)); };
    const double left = logarithm(before) - logarithm(middle);
    const double right = logarithm(after) - logarithm(middle);
    return left + right == 0 ? 0 : 0.5 * (left - right) / (left + right);
}

BlockShift shiftAround(const Brightness& first, const Brightness& second, QPoint centre, int side) {
    Square a = spectrumAround(first, centre, side);
    Square b = spectrumAround(second, centre, side);
    constexpr double width = 0.15;  // of the frequencies that count, in cycles a pixel
    const auto frequency = [side](int i) {
        return static_cast<double>(i < side / 2 ? i : i - side) / side;
    };
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            const Complex product = b.at(x, y) * std::conj(a.at(x, y));
            const double f = std::hypot(frequency(x), frequency(y)) / width;
            a.at(x, y) = product / (std::abs(product) + 1e-9) * std::exp(-f * f / 2);
        }
    }
    a.transform(true);
    int left = 0;
    int top = 0;
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            if (a.at(x, y).real() > a.at(left, top).real()) {
                left = x;
                top = y;
            }
        }
    }
    const auto value = [&a](int x, int y) { return a.at(x, y).real(); };
    const auto around = [side](int i) { return i < side / 2 ? i : i - side; };
    return {around(left) + topOf(value(left - 1, top), value(left, top), value(left + 1, top)),
            around(top) + topOf(value(left, top - 1), value(left, top), value(left, top + 1))};
}

}  // namespace

double BlockShift::length() const {
    return std::hypot(x, y);
}

QRect commonArea(const std::vector<Image>& pictures) {
    std::vector<Brightness> all;
    for (const Image& picture : pictures)
        all.emplace_back(picture);
    const auto opaque = [&all](int x, int y) {
        return std::all_of(all.begin(), all.end(),
                           [x, y](const Brightness& b) { return b.opaque[b.index(x, y)]; });
    };
    QRect area(0, 0, all.front().width, all.front().height);
    const auto edgeIsOpaque = [&](bool column, int at) {
        const int begin = column ? area.top() : area.left();
        const int end = column ? area.bottom() : area.right();
        for (int i = begin; i <= end; ++i) {
            if (!(column ? opaque(at, i) : opaque(i, at))) return false;
        }
        return true;
    };
    for (bool clear = false; !clear && !area.isEmpty();) {
        clear = true;
        if (!edgeIsOpaque(true, area.left())) area.setLeft(area.left() + 1), clear = false;
        if (!edgeIsOpaque(true, area.right())) area.setRight(area.right() - 1), clear = false;
        if (!edgeIsOpaque(false, area.top())) area.setTop(area.top() + 1), clear = false;
        if (!edgeIsOpaque(false, area.bottom())) area.setBottom(area.bottom() - 1), clear = false;
    }
    return area;
}

std::vector<BlockShift> blockShifts(const Image& first, const Image& second, const QRect& area) {
    const Brightness a(first);
    const Brightness b(second);
    const double blockWidth = static_cast<double>(area.width()) / blockColumns;
    const double blockHeight = static_cast<double>(area.height()) / blockRows;
    int side = 2;
    while (side * 2 <= std::min(blockWidth, blockHeight))
        side *= 2;
    std::vector<BlockShift> shifts;
    for (int row = 0; row < blockRows; ++row) {
        for (int column = 0; column < blockColumns; ++column) {
            const QPointF centre((column + 0.5) * blockWidth, (row + 0.5) * blockHeight);
            shifts.push_back(shiftAround(a, b, area.topLeft() + centre.toPoint(), side));
        }
    }
    return shifts;
}

int blocksWithin(const std::vector<BlockShift>& shifts, double pixels) {
    return static_cast<int>(
        std::count_if(shifts.begin(), shifts.end(),
                      [pixels](const BlockShift& shift) { return shift.length() < pixels; }));
}

double detailEnergy(const Image& picture, const QRect& area) {
    const Brightness brightness(picture);
    double sum = 0;
    for (int y = area.top(); y < area.bottom(); ++y) {
        for (int x = area.left(); x < area.right(); ++x) {
            const double here = brightness.at(x, y);
            const double right = brightness.at(x + 1, y) - here;
            const double below = brightness.at(x, y + 1) - here;
            sum += right * right + below * below;
        }
    }
    return sum / (static_cast<double>(area.width() - 1) * (area.height() - 1));
}

}  // namespace lumaweave::test
