// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace lumaweave::bench {

// A scene with the detail of a photograph, to be exposed as often as needed: overlapping leaves of
// all sizes with texture on them (which gives the edges and tones of natural pictures),
// under light that differs by many stops.
class Scene {
  public:
    Scene(int width, int height);

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }

    // A shot of the scene: interleaved 8-bit RGB. `stops` is the exposure above or below the one
    // that suits the scene's middle.
    [[nodiscard]] std::vector<unsigned char> shot(double stops) const;

  private:
    struct Leaf;

    [[nodiscard]] Leaf anyLeaf(std::mt19937& random) const;
    void paintLeaf(const Leaf& leaf, const std::vector<std::int16_t>& texture);
    void blur();
    void light();
    [[nodiscard]] std::int16_t* row(int y);

    int width_;
    int height_;
    // The logarithm of the light, in 2^-11 stops.
    std::vector<std::int16_t> logLight_;
};

}  // namespace lumaweave::bench
