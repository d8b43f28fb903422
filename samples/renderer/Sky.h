// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Vec.h"

namespace lumaweave {

/// Where the sun stands, seen from the room.
Vec3 sunDirection();

/// Light of the sun on a surface that faces it.
Vec3 sunIrradiance();

/// The sky with its clouds.
Vec3 skyRadiance(const Vec3& direction);

/// A smooth stand-in for all that is seen through the window, for lighting the room.
Vec3 outdoorGlow(const Vec3& direction);

/// Light from sky and ground on an outdoor surface with this normal.
Vec3 outdoorAmbient(const Vec3& normal);

/// Haze between the room and a point that far away.
Vec3 withHaze(const Vec3& radiance, double distance, const Vec3& direction);

}  // namespace lumaweave
