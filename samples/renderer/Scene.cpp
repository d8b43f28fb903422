// SPDX-License-Identifier: GPL-3.0-or-later
#include "Scene.h"

namespace lumaweave {

namespace {

Mesh wholeMesh(View view) {
    Mesh mesh;
    addRoom(mesh);
    addFurniture(mesh);
    addStillLife(mesh);
    addOutside(mesh);
    if (view == View::AllRound) {
        addBehind(mesh);
    }
    return mesh;
}

}  // namespace

Scene::Scene(View view) : mesh(wholeMesh(view)), bvh(mesh) {}

}  // namespace lumaweave
