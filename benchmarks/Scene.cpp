// SPDX-License-Identifier: GPL-3.0-or-later
#include "Scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>

namespace lumaweave::bench {

namespace {

constexpr int channels = 3;
constexpr double unitsPerStop = 2048;
constexpr double smallestRadius = 2.5;
constexpr double largestRadius = 900;
// How often the leaves could cover the frame.
constexpr double coverings = 5;
constexpr int textureSide = 512;
constexpr int tones = 65536;

std::int16_t units(double stops) {
    return static_cast<std::int16_t>(std::lround(stops * unitsPerStop));
}

// Adds noise that varies from knot to knot, `cell` positions apart, and can be tiled.
void addOctave(std::vector<double>& sum, int cell, std::mt19937& random) {
    const int side = textureSide / cell;
    std::vector<double> knots(static_cast<std::size_t>(side * side));
    std::normal_distribution<double> normal(0.0, 0.35);
    for (double& knot : knots)
        knot = normal(random);
    const auto knotAt = [&](int x, int y) {
        return knots[static_cast<std::size_t>((y % side) * side + x % side)];
    };
    for (int y = 0; y < textureSide; ++y) {
        const double v = static_cast<double>(y % cell) / cell;
        for (int x = 0; x < textureSide; ++x) {
            const double u = static_cast<double>(x % cell) / cell;
            const int i = x / cell;
            const int j = y / cell;
            sum[static_cast<std::size_t>(y * textureSide + x)] +=
                std::lerp(std::lerp(knotAt(i, j), knotAt(i + 1, j), u),
                          std::lerp(knotAt(i, j + 1), knotAt(i + 1, j + 1), u), v);
        }
    }
}

// Noise with the same power in every octave, in stops.
std::vector<std::int16_t> makeTexture(std::mt19937& random) {
    std::vector<double> sum(static_cast<std::size_t>(textureSide * textureSide), 0.0);
    for (int cell = 1; cell <= 64; cell *= 2)
        addOctave(sum, cell, random);
    std::vector<std::int16_t> texture;
    texture.reserve(sum.size());
    for (const double value : sum)
        texture.push_back(units(std::clamp(value, -3.0, 3.0)));
    return texture;
}

// The 8-bit tone of every light.
std::vector<unsigned char> toneCurve(double stops) {
    std::vector<unsigned char> curve(tones);
    for (int i = 0; i < tones; ++i) {
        const int fromMiddle = i - tones / 2;
        const double linear = std::exp2(fromMiddle / unitsPerStop + stops) * 0.2;
        // Bright light approaches white instead of being cut off.
        const double shouldered = 1 - std::exp(-linear);
        curve[static_cast<std::size_t>(i)] =
            static_cast<unsigned char>(std::lround(255 * std::pow(shouldered, 1 / 2.2)));
    }
    return curve;
}

// What a sensor adds, in levels of 255.
std::vector<signed char> sensorNoise(std::mt19937& random) {
    std::vector<signed char> noise(std::size_t{1} << 20);
    std::normal_distribution<double> normal(0.0, 3.5);
    for (signed char& value : noise)
        value = static_cast<signed char>(std::clamp(std::lround(normal(random)), -15L, 15L));
    return noise;
}

}  // namespace

struct Scene::Leaf {
    double x = 0;
    double y = 0;
    double radius = 0;
    std::array<std::int16_t, channels> colour{};
    // How strong the texture is, in 1/256, and where it begins.
    int strength = 0;
    int textureX = 0;
    int textureY = 0;
};

Scene::Scene(int width, int height)
    : width_(width),
      height_(height),
      logLight_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height * channels)) {
    std::mt19937 random(20);
    const std::vector<std::int16_t> texture = makeTexture(random);
    const double frame = static_cast<double>(width) * height;
    for (double covered = 0; covered < coverings * frame;) {
        const Leaf leaf = anyLeaf(random);
        paintLeaf(leaf, texture);
        covered += std::numbers::pi * leaf.radius * leaf.radius;
    }
    blur();
    light();
}

Scene::Leaf Scene::anyLeaf(std::mt19937& random) const {
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::normal_distribution<double> normal(0.0, 1.0);
    const double small = 1 / (smallestRadius * smallestRadius);
    const double large = 1 / (largestRadius * largestRadius);
    Leaf leaf;
    // As many leaves of each size as cover the same area.
    leaf.radius = 1 / std::sqrt(small - unit(random) * (small - large));
    leaf.x = unit(random) * width_;
    leaf.y = unit(random) * height_;
    const double grey = normal(random);
    for (std::int16_t& value : leaf.colour)
        value = units(std::clamp(grey + 0.3 * normal(random), -3.0, 3.0));
    leaf.strength = static_cast<int>(20 + 100 * unit(random) * unit(random));
    leaf.textureX = static_cast<int>(unit(random) * textureSide);
    leaf.textureY = static_cast<int>(unit(random) * textureSide);
    return leaf;
}

std::int16_t* Scene::row(int y) {
    return logLight_.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) *
                                  static_cast<std::size_t>(channels);
}

void Scene::paintLeaf(const Leaf& leaf, const std::vector<std::int16_t>& texture) {
    const int top = std::max(0, static_cast<int>(leaf.y - leaf.radius));
    const int bottom = std::min(height_, static_cast<int>(leaf.y + leaf.radius) + 1);
    for (int y = top; y < bottom; ++y) {
        const double square = leaf.radius * leaf.radius - (y - leaf.y) * (y - leaf.y);
        if (square <= 0) continue;
        const double half = std::sqrt(square);
        const int left = std::max(0, static_cast<int>(leaf.x - half));
        const int right = std::min(width_, static_cast<int>(leaf.x + half) + 1);
        const std::int16_t* grain =
            texture.data() + ((y + leaf.textureY) % textureSide) * textureSide;
        std::int16_t* to = row(y) + left * channels;
        for (int x = left; x < right; ++x) {
            const int grained = grain[(x + leaf.textureX) % textureSide] * leaf.strength / 256;
            for (const std::int16_t colour : leaf.colour)
                *to++ = static_cast<std::int16_t>(colour + grained);
        }
    }
}

// What a lens does to edges.
void Scene::blur() {
    const int count = width_ * channels;
    std::vector<std::int16_t> above(row(0), row(0) + count);
    std::vector<std::int16_t> here(above);
    for (int y = 0; y < height_; ++y) {
        std::int16_t* to = row(y);
        std::copy_n(to, count, here.data());
        const std::int16_t* below = y + 1 < height_ ? row(y + 1) : here.data();
        for (int i = 0; i < count; ++i) {
            const auto at = static_cast<std::size_t>(i);
            to[i] = static_cast<std::int16_t>((above[at] + 2 * here[at] + below[i]) / 4);
        }
        for (int i = channels; i + channels < count; ++i) {
            to[i] =
                static_cast<std::int16_t>((to[i - channels] + 2 * to[i] + to[i + channels]) / 4);
        }
        std::swap(above, here);
    }
}

// A dark room with a bright window.
void Scene::light() {
    std::vector<double> across(static_cast<std::size_t>(width_));
    for (int x = 0; x < width_; ++x)
        across[static_cast<std::size_t>(x)] = std::cos(2.5 * x / width_ - 0.4);
    for (int y = 0; y < height_; ++y) {
        const double down = std::sin(1 + 2.0 * y / height_);
        const bool windowHeight = y > height_ / 6 && y < height_ * 3 / 5;
        std::int16_t* to = row(y);
        for (int x = 0; x < width_; ++x) {
            const bool inWindow = windowHeight && x > width_ / 8 && x < width_ * 2 / 5;
            const double stops = 3 * across[static_cast<std::size_t>(x)] * down - 2;
            const std::int16_t added = units(inWindow ? stops + 4 : stops);
            for (int c = 0; c < channels; ++c, ++to)
                *to = static_cast<std::int16_t>(*to + added);
        }
    }
}

std::vector<unsigned char> Scene::shot(double stops) const {
    std::mt19937 random(static_cast<unsigned>(std::lround(100 + 10 * stops)));
    const std::vector<unsigned char> curve = toneCurve(stops);
    const std::vector<signed char> noise = sensorNoise(random);
    const auto rowSamples = static_cast<std::size_t>(width_ * channels);
    std::vector<unsigned char> result(logLight_.size());
    for (std::size_t begin = 0; begin < result.size(); begin += rowSamples) {
        const signed char* grain = noise.data() + random() % (noise.size() - rowSamples);
        for (std::size_t i = 0; i < rowSamples; ++i) {
            const auto light = static_cast<std::size_t>(logLight_[begin + i] + tones / 2);
            const int tone = curve[light];
            // Where the sensor is full there is no noise.
            const int noisy = tone < 250 ? std::max(0, tone + grain[i]) : tone;
            result[begin + i] = static_cast<unsigned char>(noisy);
        }
    }
    return result;
}

}  // namespace lumaweave::bench
