// SPDX-License-Identifier: GPL-3.0-or-later
#include "Textures.h"

#include "Noise.h"

namespace lumaweave {

namespace {

Vec3 hueColour(double hue) {
    const auto wave = [hue](double offset) {
        return saturate(std::abs(fraction(hue + offset) * 6 - 3) - 1);
    };
    return {wave(0), wave(2.0 / 3), wave(1.0 / 3)};
}

Vec3 bindingColour(std::uint32_t seed) {
    const double pick = hashUnit(seed, 1);
    const double hue = pick < 0.4   ? 0.98 + 0.10 * hashUnit(seed, 2)  // reds and browns
                       : pick < 0.6 ? 0.55 + 0.10 * hashUnit(seed, 2)  // blues
                       : pick < 0.8 ? 0.28 + 0.15 * hashUnit(seed, 2)  // greens
                                    : hashUnit(seed, 2);
    const double chroma = 0.35 + 0.5 * hashUnit(seed, 3);
    const double value = 0.08 + 0.42 * hashUnit(seed, 4) * hashUnit(seed, 5);
    return mix(Vec3{1, 0.96, 0.88}, hueColour(hue), chroma) * value;
}

double band(double v, double from, double to, double soft) {
    return smoothstep(from - soft, from + soft, v) * (1 - smoothstep(to - soft, to + soft, v));
}

/// Rows of letter-like marks running up the spine.
double lettering(double u, double v, std::uint32_t seed, double footprint) {
    const double size = 0.0055 + 0.004 * hashUnit(seed, 20);
    const double start = 0.05 + 0.03 * hashUnit(seed, 21);
    const double end = start + 0.06 + 0.05 * hashUnit(seed, 22);
    if (std::abs(u) > size || v < start || v > end) {
        return 0;
    }
    const bool space = cellUnit(v / size, 0, seed) < 0.18;
    const double mark = cellUnit(u / (0.36 * size), v / (0.36 * size), seed);
    const double inside = band(std::abs(u), -1, 0.85 * size, 0.0005 + 0.5 * footprint);
    return space ? 0 : inside * (mark > 0.42 ? 1.0 : 0.15);
}

Surface bookSurface(const TexturePoint& at) {
    // x across the spine (from its middle), y up from the foot, z into the shelf.
    const double f = at.footprint;
    const double soft = 0.0008 + 0.5 * f;
    const std::uint32_t s = at.seed;
    const Vec3 p = shifted(at);
    Vec3 colour = bindingColour(s);
    const Vec3 print = hashUnit(s, 6) > 0.35 ? Vec3{0.50, 0.36, 0.13} : Vec3{0.60, 0.57, 0.50};
    if (hashUnit(s, 7) > 0.55) {
        const double from = 0.10 + 0.05 * hashUnit(s, 8);
        const Vec3 label = bindingColour(s + 77u) * 0.8;
        colour = mix(colour, label, band(at.p.y, from, from + 0.045, soft));
    }
    for (std::uint32_t k = 0; k < 4; ++k) {
        const double y = 0.015 + 0.17 * hashUnit(s, 9, k);
        const double width = 0.001 + 0.003 * hashUnit(s, 10, k);
        colour = mix(colour, print, 0.85 * band(at.p.y, y, y + width, soft));
    }
    colour = mix(colour, print, 0.9 * lettering(at.p.x, at.p.y, s, f));
    const double cloth = fbm(p * 330, 3, f * 330);
    const double rub = fbm(p * 24, 4, f * 24);
    colour = mix(colour, Vec3{0.36, 0.31, 0.24}, 0.5 * smoothstep(0.60, 0.74, rub));
    return {colour * (0.6 + 0.8 * cloth) * (0.75 + 0.5 * rub), 0, 0, 0};
}

Surface pagesSurface(const TexturePoint& at) {
    const double f = at.footprint;
    const double sheets = fbm({at.p.x * 900, at.p.y * 14, at.p.z * 14}, 2, f * 500);
    return {Vec3{0.55, 0.48, 0.34} * (0.6 + 0.6 * sheets), 0, 0, 0};
}

Surface paintedWoodSurface(const TexturePoint& at) {
    const Vec3 p = shifted(at);
    const double f = at.footprint;
    const double brush = fbm({p.x * 5, p.y * 120, p.z * 120}, 3, f * 120);
    const double dirt = fbm(p * 7, 4, f * 7);
    const double chip = smoothstep(0.76, 0.79, fbm(p * 30, 3, f * 30));
    const Vec3 paint = Vec3{0.60, 0.58, 0.52} * (0.75 + 0.3 * brush) * (0.70 + 0.6 * dirt);
    return {mix(paint, Vec3{0.20, 0.13, 0.08}, chip), 0, 0, 0};
}

Surface ceramicSurface(const TexturePoint& at) {
    const double f = at.footprint;
    const double angle = std::atan2(at.p.z, at.p.x);
    const Vec3 wrap{std::cos(angle) * 1.4, at.p.y * 13, std::sin(angle) * 1.4};
    const double scroll = fbm(wrap * 1.7, 3, f * 20);
    const double soft = 0.02 + f * 20;
    double blue = band(scroll, 0.46, 0.50, soft) + band(scroll, 0.57, 0.66, soft);
    for (const double y : {0.03, 0.05, 0.235, 0.265}) {
        blue += band(at.p.y, y, y + 0.006, 0.001 + 0.5 * f);
    }
    const double glaze = fbm(at.p * 60, 4, f * 60);
    const Vec3 body = Vec3{0.58, 0.58, 0.54} * (0.8 + 0.4 * glaze);
    return {mix(body, Vec3{0.035, 0.075, 0.26}, saturate(blue)), 0.05, 0.03, 0};
}

Surface wickerSurface(const TexturePoint& at) {
    const double f = at.footprint;
    const double angle = std::atan2(at.p.z, at.p.x);
    const double row = at.p.y / 0.011;
    const double turn = angle * 14 + (std::fmod(std::abs(std::floor(row)), 2.0)) * kPi;
    const double seen = 1 - smoothstep(0.004, 0.012, f);
    const double strand = (0.5 + 0.5 * std::sin(turn)) * std::sin(kPi * fraction(row));
    const double fibre = fbm({angle * 40, at.p.y * 300, 1}, 3, f * 300);
    const Vec3 colour = mix({0.10, 0.055, 0.025}, {0.44, 0.27, 0.12}, mix(0.4, strand, seen));
    return {colour * (0.6 + 0.8 * fibre), 0.02, 0.2, 0};
}

Surface fruitSurface(Material material, const TexturePoint& at) {
    const double f = at.footprint;
    const Vec3 p = shifted(at);
    const double blush = fbm(p * 9, 3, f * 9);
    const double fleck = smoothstep(0.66, 0.74, valueNoise(p * 230)) * (f < 0.004 ? 1.0 : 0.2);
    const double streak = fbm({std::atan2(at.p.z, at.p.x) * 9, at.p.y * 8, 3}, 4, f * 60);
    switch (material) {
        case Material::Apple: {
            const Vec3 skin = mix({0.42, 0.035, 0.025}, {0.52, 0.36, 0.06},
                                  saturate(2.4 * blush - 0.9 + 0.9 * (streak - 0.4)));
            return {mix(skin, Vec3{0.55, 0.45, 0.22}, 0.5 * fleck), 0.04, 0.12, 0};
        }
        case Material::Orange: {
            const double pits = fbm(p * 240, 2, f * 240);
            return {Vec3{0.62, 0.235, 0.022} * (0.55 + 0.55 * pits + 0.35 * blush), 0.035, 0.2, 0};
        }
        default: {
            const Vec3 skin = mix({0.28, 0.33, 0.05}, {0.50, 0.42, 0.09}, blush);
            return {mix(skin, Vec3{0.20, 0.12, 0.04}, 0.6 * fleck), 0.03, 0.2, 0};
        }
    }
}

/// A small brushed landscape: sky, hills, water, a few dark trees.
Surface paintingSurface(const TexturePoint& at) {
    // x and y in metres from the middle of the canvas.
    const double f = at.footprint;
    const Vec3 p = shifted(at);
    const double dab = fbm({p.x * 55 + 3 * fbm(p * 9, 2), p.y * 90, 1}, 3, f * 90);
    const double mass = fbm({p.x * 6, p.y * 14, 4}, 4, f * 14);
    const double y = at.p.y + 0.10 * (fbm({p.x * 5, 1, 1}, 3, f * 5) - 0.5);
    const double warm = hashUnit(at.seed, 1);
    Vec3 colour =
        mix(mix({0.55, 0.45, 0.30}, {0.50, 0.52, 0.50}, warm),
            mix({0.16, 0.25, 0.38}, {0.30, 0.20, 0.25}, warm), saturate(y * 4 + mass - 0.4));
    colour = mix(colour, Vec3{0.65, 0.60, 0.52}, smoothstep(0.55, 0.7, mass) * (y > 0 ? 0.8 : 0.2));
    const Vec3 land = mix({0.13, 0.15, 0.045}, {0.33, 0.19, 0.06}, mass);
    colour = mix(land, colour, smoothstep(-0.02, 0.012, y));
    // Tree crowns stand on the horizon and thin out upwards.
    const double crown = fbm({p.x * 22, p.y * 16, 8}, 4, f * 22);
    const double reach = 0.56 + 3.2 * std::abs(at.p.y - 0.015);
    colour = mix(colour, Vec3{0.035, 0.050, 0.022}, smoothstep(reach, reach + 0.05, crown));
    colour = mix(colour, Vec3{0.24, 0.32, 0.36}, band(y, -0.16, -0.10, 0.01));
    return {colour * (0.55 + 0.9 * dab), 0, 0, 0};
}

Surface houseLeafSurface(const TexturePoint& at) {
    // x across the leaf from its middle rib, y along it, both 0 to 1 in size.
    const double rib = 1 - smoothstep(0.01, 0.05, std::abs(at.p.x));
    const double veins = 0.5 + 0.5 * std::sin((at.p.y * 9 - std::abs(at.p.x) * 5) * 2 * kPi);
    const double spots = fbm(shifted(at) * 6, 4, at.footprint * 40);
    Vec3 colour = mix({0.030, 0.085, 0.022}, {0.085, 0.17, 0.040}, spots);
    colour = mix(colour, Vec3{0.22, 0.28, 0.10}, 0.7 * rib + 0.15 * veins);
    return {colour * (0.8 + 0.4 * hashUnit(at.seed, 3)), 0.03, 0.2, 0.3};
}

Surface metalSurface(const TexturePoint& at) {
    const double tarnish = fbm(at.p * 25, 4, at.footprint * 25);
    return {mix({0.36, 0.25, 0.09}, {0.12, 0.085, 0.05}, tarnish), 0.04, 0.05, 0};
}

Surface speckled(const TexturePoint& at, const Vec3& base, double scale) {
    const Vec3 p = shifted(at);
    const double fine = fbm(p * scale, 4, at.footprint * scale);
    const double coarse = fbm(p * scale * 0.1, 4, at.footprint * scale * 0.1);
    return {base * (0.4 + 0.8 * fine + 0.4 * coarse), 0, 0, 0};
}

Surface pictureFrameSurface(const TexturePoint& at) {
    const Vec3 wood = woodColour(at, 0.75);
    const double gilt = smoothstep(0.35, 0.6, fbm(shifted(at) * 18, 3, at.footprint * 18));
    return {mix(wood, Vec3{0.40, 0.27, 0.09}, hashUnit(at.seed, 2) * gilt), 0, 0, 0};
}

}  // namespace

Surface surfaceOf(Material material, const TexturePoint& at) {
    switch (material) {
        case Material::Floor:
            return floorSurface(at);
        case Material::Plaster:
            return plasterSurface(at);
        case Material::Brick:
            return brickSurface(at);
        case Material::Beam:
            return beamSurface(at);
        case Material::PaintedWood:
            return paintedWoodSurface(at);
        case Material::ShelfWood:
            return {woodColour(at, 0.55), 0, 0, 0};
        case Material::Book:
            return bookSurface(at);
        case Material::Pages:
            return pagesSurface(at);
        case Material::Tablecloth:
            return tableclothSurface(at);
        case Material::Rug:
            return rugSurface(at);
        case Material::Upholstery:
            return upholsterySurface(at);
        case Material::Curtain:
            return curtainSurface(at);
        case Material::Ceramic:
            return ceramicSurface(at);
        case Material::Wicker:
            return wickerSurface(at);
        case Material::Apple:
        case Material::Orange:
        case Material::Pear:
            return fruitSurface(material, at);
        case Material::PictureFrame:
            return pictureFrameSurface(at);
        case Material::Painting:
            return paintingSurface(at);
        case Material::Terracotta:
            return speckled(at, {0.40, 0.17, 0.085}, 90);
        case Material::Soil:
            return speckled(at, {0.07, 0.05, 0.035}, 160);
        case Material::HouseLeaf:
            return houseLeafSurface(at);
        case Material::Stem:
            return speckled(at, {0.13, 0.10, 0.05}, 60);
        case Material::Lampshade:
            return lampshadeSurface(at);
        case Material::Brass:
            return metalSurface(at);
        case Material::Cushion:
            return cushionSurface(at);
        case Material::Meadow:
            return meadowSurface(at);
        case Material::Hill:
            return hillSurface(at);
        case Material::HouseWall:
            return houseWallSurface(at);
        case Material::RoofTile:
            return roofTileSurface(at);
        case Material::TreeLeaf:
            return treeLeafSurface(at);
        case Material::Bark:
            return speckled(at, {0.12, 0.085, 0.055}, 20);
        case Material::Fence:
            return {woodColour(at, 0.5) * 1.3, 0, 0, 0};
    }
    return {};
}

bool hasRelief(Material material) {
    switch (material) {
        case Material::Floor:
        case Material::Plaster:
        case Material::Brick:
        case Material::Beam:
        case Material::ShelfWood:
        case Material::Tablecloth:
        case Material::Rug:
        case Material::Upholstery:
        case Material::Cushion:
        case Material::RoofTile:
        case Material::Orange:
            return true;
        default:
            return false;
    }
}

double heightOf(Material material, const TexturePoint& at) {
    switch (material) {
        case Material::Floor:
            return floorHeight(at);
        case Material::Plaster:
            return plasterHeight(at);
        case Material::Brick:
            return brickHeight(at);
        case Material::Beam:
            return 3 * woodHeight(at);
        case Material::ShelfWood:
            return 0.6 * woodHeight(at);
        case Material::Tablecloth:
            return weaveHeight(at, 0.0042, 0.0005);
        case Material::Rug:
            return 0.004 * fbm(at.p * 150, 3, at.footprint * 150);
        case Material::Upholstery:
        case Material::Cushion:
            return 0.0025 * fbm(at.p * 120, 3, at.footprint * 120);
        case Material::RoofTile:
            return roofTileHeight(at);
        case Material::Orange:
            return 0.0012 * fbm(at.p * 240, 2, at.footprint * 240);
        default:
            return 0;
    }
}

}  // namespace lumaweave
