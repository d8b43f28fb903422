// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "Mesh.h"
#include "Vec.h"

namespace lumaweave {

struct Hit {
    double distance = 0;
    double u = 0;  ///< weight of the triangle's second corner
    double v = 0;  ///< weight of its third corner
    std::uint32_t triangle = 0;
};

/// A tree of bounding boxes over the triangles of a mesh.
class Bvh {
  public:
    explicit Bvh(const Mesh& mesh);

    bool nearest(const Ray& ray, Hit& hit) const;
    bool occluded(const Ray& ray, double maxDistance) const;

  private:
    struct Node {
        std::array<std::array<float, 3>, 2> bounds;  ///< low and high corner, a little widened
        std::uint32_t first = 0;  ///< first triangle of a leaf, or the left child
        std::uint32_t count = 0;  ///< zero for an inner node
    };
    struct Facet {
        Vec3 corner, edge1, edge2;
        std::uint32_t index = 0;
    };
    struct BuildItem {
        Vec3 low, high, centre;
        std::uint32_t index = 0;
    };
    struct Split {
        int axis = -1;
        double position = 0;
    };

    void build(std::uint32_t node, std::vector<BuildItem>& items, std::uint32_t first,
               std::uint32_t count);
    static Split bestSplit(const std::vector<BuildItem>& items, std::uint32_t first,
                           std::uint32_t count);
    struct RayBox;
    template <bool AnyHit>
    bool traverse(const Ray& ray, Hit& hit) const;

    std::vector<Node> nodes_;
    std::vector<Facet> facets_;
};

}  // namespace lumaweave
