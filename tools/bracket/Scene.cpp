#include "Scene.h"

namespace lumaweave {

namespace {

Mesh wholeMesh() {
    Mesh mesh;
    addRoom(mesh);
    addFurniture(mesh);
    addStillLife(mesh);
    addOutside(mesh);
    return mesh;
}

}  // namespace

Scene::Scene() : mesh(wholeMesh()), bvh(mesh) {}

}  // namespace lumaweave
