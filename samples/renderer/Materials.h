// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include "Vec.h"

namespace lumaweave {

enum class Material : std::uint8_t {
    Floor,
    Plaster,
    Brick,
    Beam,
    PaintedWood,
    ShelfWood,
    Book,
    Pages,
    Tablecloth,
    Rug,
    Upholstery,
    Curtain,
    Ceramic,
    Wicker,
    Apple,
    Orange,
    Pear,
    PictureFrame,
    Painting,
    Terracotta,
    Soil,
    HouseLeaf,
    Stem,
    Lampshade,
    Brass,
    Cushion,
    // From here on out of doors.
    Meadow,
    Hill,
    HouseWall,
    RoofTile,
    TreeLeaf,
    Bark,
    Fence,
};

inline bool isOutdoors(Material m) {
    return m >= Material::Meadow;
}

/// What the renderer needs to know about one point of a surface.
struct Surface {
    Vec3 albedo;
    double specular = 0;      ///< mirror reflectance at normal incidence
    double roughness = 0.1;   ///< spread of the mirrored ray
    double translucency = 0;  ///< share of light that comes through from behind
};

/// A point to be textured. `footprint` is the size of a pixel there, in metres.
struct TexturePoint {
    Vec3 p;
    std::uint32_t seed = 0;
    double footprint = 0;
};

Surface surfaceOf(Material material, const TexturePoint& at);

/// Relief in metres, for the shading of bumps; zero for smooth materials.
double heightOf(Material material, const TexturePoint& at);

/// Whether heightOf() is worth asking.
bool hasRelief(Material material);

}  // namespace lumaweave
