// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Bvh.h"
#include "Mesh.h"
#include "Vec.h"

namespace lumaweave {

// The room in metres: x to the right, y up, z away from the camera towards the window wall.
inline constexpr double kRoomLeft = -2.5;
inline constexpr double kRoomRight = 2.5;
inline constexpr double kRoomHeight = 2.75;
inline constexpr double kRoomBack = 5.0;
inline constexpr double kRoomFront = -1.8;
inline constexpr double kWallThickness = 0.30;

/// The opening in the window wall.
inline constexpr double kWindowLeft = -0.62;
inline constexpr double kWindowRight = 1.72;
inline constexpr double kWindowSill = 0.82;
inline constexpr double kWindowTop = 2.42;
inline constexpr double kWindowPlane = kRoomBack + kWallThickness;

/// The garden lies a storey below the floor of the room.
inline constexpr double kGroundLevel = -2.6;

/// What the scene is to be seen from: the bracket's camera looks at the window only; all round
/// there is also the wall behind it.
enum class View { TowardsWindow, AllRound };

struct Scene {
    explicit Scene(View view);
    Mesh mesh;
    Bvh bvh;
};

void addRoom(Mesh& mesh);
void addFurniture(Mesh& mesh);
void addStillLife(Mesh& mesh);
void addOutside(Mesh& mesh);
void addBehind(Mesh& mesh);

}  // namespace lumaweave
