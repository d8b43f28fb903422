// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "Materials.h"
#include "Vec.h"

namespace lumaweave {

struct Vertex {
    Vec3 position;
    Vec3 normal;
    Vec3 texture;  ///< the point the procedural texture is evaluated at
    Vec3 probe;    ///< where light is gathered: off the surface and off its borders
};

struct Triangle {
    std::array<std::uint32_t, 3> corners;
    Material material = Material::Plaster;
    std::uint32_t seed = 0;
};

/// Where an object stands: turned about the vertical, then tilted about its x axis, then moved.
struct Placement {
    Vec3 origin;
    double turn = 0;
    double tilt = 0;

    Vec3 direction(const Vec3& v) const;
    Vec3 point(const Vec3& v) const { return direction(v) + origin; }
};

/// What a piece of surface is made of; `cell` is the spacing of its light probes in metres.
struct Finish {
    Material material;
    std::uint32_t seed = 0;
    double cell = 0.08;
};

using SurfaceFunction = std::function<Vec3(double u, double v)>;

/// The triangles of the whole scene.
class Mesh {
  public:
    const std::vector<Vertex>& vertices() const { return vertices_; }
    const std::vector<Triangle>& triangles() const { return triangles_; }

    /// A flat four-sided patch; its front is on the side of cross(edgeU, edgeV).
    void addPatch(const Vec3& origin, const Vec3& edgeU, const Vec3& edgeV, const Finish& finish);

    /// A box between two corners of its own space. Where `grained`, its texture starts at the low
    /// corner and its grain follows the longest side; else the texture uses object coordinates.
    void addBox(const Vec3& low, const Vec3& high, const Finish& finish,
                const Placement& place = {}, bool grained = true);

    /// A curved sheet: `shape` maps the unit square to object space.
    void addSurface(int stepsU, int stepsV, const SurfaceFunction& shape, const Finish& finish,
                    const Placement& place = {}, const SurfaceFunction& texture = nullptr);

    /// A solid of revolution about the y axis; the profile is a list of (radius, height).
    void addTurned(const std::vector<std::array<double, 2>>& profile, int segments,
                   const Finish& finish, const Placement& place = {});

    void addEllipsoid(const Vec3& centre, const Vec3& radii, const Finish& finish, int segments);

    /// A box with soft, pillow-like edges; `hardness` 1 is an ellipsoid, towards 0 a box.
    void addCushion(const Vec3& centre, const Vec3& radii, double hardness, const Finish& finish,
                    const Placement& place);

    void addTriangle(const Vec3& a, const Vec3& b, const Vec3& c, const Finish& finish);

  private:
    struct Patch {
        Vec3 origin, edgeU, edgeV;
        Vec3 textureOrigin, textureU, textureV;
    };
    void addMappedPatch(const Patch& patch, const Finish& finish);
    void stitch(std::uint32_t first, int stepsU, int stepsV, const Finish& finish);

    std::vector<Vertex> vertices_;
    std::vector<Triangle> triangles_;
};

}  // namespace lumaweave
