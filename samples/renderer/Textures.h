// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Materials.h"

namespace lumaweave {

/// Wood with its grain along x; `tone` picks how dark it is, 0 pale to 1 dark.
Vec3 woodColour(const TexturePoint& at, double tone);
double woodHeight(const TexturePoint& at);

Surface beamSurface(const TexturePoint& at);
Surface floorSurface(const TexturePoint& at);
double floorHeight(const TexturePoint& at);
Surface plasterSurface(const TexturePoint& at);
double plasterHeight(const TexturePoint& at);
Surface brickSurface(const TexturePoint& at);
double brickHeight(const TexturePoint& at);

Surface tableclothSurface(const TexturePoint& at);
Surface rugSurface(const TexturePoint& at);
Surface upholsterySurface(const TexturePoint& at);
Surface curtainSurface(const TexturePoint& at);
Surface cushionSurface(const TexturePoint& at);
Surface lampshadeSurface(const TexturePoint& at);
double weaveHeight(const TexturePoint& at, double thread, double depth);

Surface meadowSurface(const TexturePoint& at);
Surface hillSurface(const TexturePoint& at);
Surface houseWallSurface(const TexturePoint& at);
Surface roofTileSurface(const TexturePoint& at);
double roofTileHeight(const TexturePoint& at);
Surface treeLeafSurface(const TexturePoint& at);

/// Moves the noise of an object away from that of its neighbours.
inline Vec3 shifted(const TexturePoint& at) {
    const double s = static_cast<double>(at.seed % 1009u);
    return {at.p.x + 3.71 * s, at.p.y - 5.13 * s, at.p.z + 7.37 * s};
}

}  // namespace lumaweave
