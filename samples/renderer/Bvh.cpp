// SPDX-License-Identifier: GPL-3.0-or-later
#include "Bvh.h"

#include <limits>

namespace lumaweave {

namespace {

constexpr double kFar = std::numeric_limits<double>::infinity();
constexpr int kBins = 16;
constexpr std::uint32_t kLeafSize = 4;
constexpr double kNear = 1e-5;

struct Bounds {
    Vec3 low{kFar, kFar, kFar};
    Vec3 high{-kFar, -kFar, -kFar};

    void grow(const Vec3& a, const Vec3& b) {
        low = minimum(low, a);
        high = maximum(high, b);
    }
    double area() const {
        const Vec3 d = high - low;
        return d.x < 0 ? 0 : d.x * d.y + d.y * d.z + d.z * d.x;
    }
};

double inverted(double v) {
    return 1.0 / (std::abs(v) < 1e-12 ? std::copysign(1e-12, v) : v);
}

}  // namespace

/// A ray in the form that box tests want, in single precision for speed.
struct Bvh::RayBox {
    std::array<float, 3> origin, inverse;
    std::array<std::size_t, 3> nearSide;

    explicit RayBox(const Ray& ray) {
        for (std::size_t a = 0; a < 3; ++a) {
            const double d = ray.direction[static_cast<int>(a)];
            origin[a] = static_cast<float>(ray.origin[static_cast<int>(a)]);
            inverse[a] = static_cast<float>(inverted(d));
            nearSide[a] = d < 0 ? 1 : 0;
        }
    }

    /// Distance to the box, or infinity where the ray misses it.
    float entry(const Node& node, float limit) const {
        const auto plane = [&](std::size_t axis, std::size_t side) {
            return (node.bounds[side][axis] - origin[axis]) * inverse[axis];
        };
        const float enter = std::max(std::max(plane(0, nearSide[0]), plane(1, nearSide[1])),
                                     std::max(plane(2, nearSide[2]), 0.0F));
        const float leave = std::min(std::min(plane(0, 1 - nearSide[0]), plane(1, 1 - nearSide[1])),
                                     std::min(plane(2, 1 - nearSide[2]), limit));
        return enter <= leave ? enter : std::numeric_limits<float>::infinity();
    }
};

Bvh::Bvh(const Mesh& mesh) {
    std::vector<BuildItem> items;
    items.reserve(mesh.triangles().size());
    const auto& vertices = mesh.vertices();
    for (const Triangle& t : mesh.triangles()) {
        Bounds b;
        for (const std::uint32_t c : t.corners) {
            b.grow(vertices[c].position, vertices[c].position);
        }
        items.push_back(
            {b.low, b.high, (b.low + b.high) * 0.5, static_cast<std::uint32_t>(items.size())});
    }
    nodes_.reserve(items.size());
    nodes_.emplace_back();
    build(0, items, 0, static_cast<std::uint32_t>(items.size()));
    facets_.reserve(items.size());
    for (const BuildItem& item : items) {
        const auto& c = mesh.triangles()[item.index].corners;
        const Vec3& a = vertices[c[0]].position;
        facets_.push_back(
            {a, vertices[c[1]].position - a, vertices[c[2]].position - a, item.index});
    }
}

Bvh::Split Bvh::bestSplit(const std::vector<BuildItem>& items, std::uint32_t first,
                          std::uint32_t count) {
    Bounds centres;
    for (std::uint32_t i = first; i < first + count; ++i) {
        centres.grow(items[i].centre, items[i].centre);
    }
    Split best;
    double bestCost = kFar;
    for (int axis = 0; axis < 3; ++axis) {
        const double start = centres.low[axis];
        const double extent = centres.high[axis] - start;
        if (extent < 1e-9) {
            continue;
        }
        std::array<Bounds, kBins> bins;
        std::array<int, kBins> counts{};
        for (std::uint32_t i = first; i < first + count; ++i) {
            const auto bin = static_cast<std::size_t>(std::min(
                kBins - 1, static_cast<int>(kBins * (items[i].centre[axis] - start) / extent)));
            bins[bin].grow(items[i].low, items[i].high);
            ++counts[bin];
        }
        std::array<double, kBins> rightCost{};
        Bounds right;
        int rightCount = 0;
        for (std::size_t k = kBins - 1; k > 0; --k) {
            right.grow(bins[k].low, bins[k].high);
            rightCount += counts[k];
            rightCost[k] = right.area() * rightCount;
        }
        Bounds left;
        int leftCount = 0;
        for (std::size_t k = 1; k < kBins; ++k) {
            left.grow(bins[k - 1].low, bins[k - 1].high);
            leftCount += counts[k - 1];
            const double cost = left.area() * leftCount + rightCost[k];
            if (cost < bestCost) {
                bestCost = cost;
                best = {axis, start + extent * static_cast<double>(k) / kBins};
            }
        }
    }
    return best;
}

void Bvh::build(std::uint32_t node, std::vector<BuildItem>& items, std::uint32_t first,
                std::uint32_t count) {
    Bounds b;
    for (std::uint32_t i = first; i < first + count; ++i) {
        b.grow(items[i].low, items[i].high);
    }
    for (int axis = 0; axis < 3; ++axis) {
        // Widened by more than single precision can lose.
        const double low = b.low[axis] - 1e-5 - 4e-7 * std::abs(b.low[axis]);
        const double high = b.high[axis] + 1e-5 + 4e-7 * std::abs(b.high[axis]);
        nodes_[node].bounds[0][static_cast<std::size_t>(axis)] = static_cast<float>(low);
        nodes_[node].bounds[1][static_cast<std::size_t>(axis)] = static_cast<float>(high);
    }
    nodes_[node].first = first;
    nodes_[node].count = count;
    if (count <= kLeafSize) {
        return;
    }
    const Split split = bestSplit(items, first, count);
    if (split.axis < 0) {
        return;
    }
    const auto begin = items.begin() + first;
    const auto middle = std::partition(begin, begin + count, [&split](const BuildItem& item) {
        return item.centre[split.axis] < split.position;
    });
    const auto leftCount = static_cast<std::uint32_t>(middle - begin);
    if (leftCount == 0 || leftCount == count) {
        return;
    }
    const auto left = static_cast<std::uint32_t>(nodes_.size());
    nodes_.emplace_back();
    nodes_.emplace_back();
    nodes_[node].first = left;
    nodes_[node].count = 0;
    build(left, items, first, leftCount);
    build(left + 1, items, first + leftCount, count - leftCount);
}

template <bool AnyHit>
bool Bvh::traverse(const Ray& ray, Hit& hit) const {
    const RayBox box(ray);
    constexpr float kMissed = std::numeric_limits<float>::infinity();
    struct Pending {
        std::uint32_t node;
        float distance;
    };
    std::array<Pending, 96> stack;
    std::size_t depth = 0;
    bool found = false;
    float limit = static_cast<float>(hit.distance);
    if (const float start = box.entry(nodes_[0], limit); start < kMissed) {
        stack[depth++] = {0, start};
    }
    while (depth > 0) {
        const Pending pending = stack[--depth];
        if (pending.distance > limit) {
            continue;
        }
        const Node& node = nodes_[pending.node];
        if (node.count == 0) {
            const Node& a = nodes_[node.first];
            const Node& b = nodes_[node.first + 1];
            const float ta = box.entry(a, limit);
            const float tb = box.entry(b, limit);
            const bool aFirst = ta <= tb;
            const float farther = aFirst ? tb : ta;
            const float closer = aFirst ? ta : tb;
            if (farther < kMissed) {
                stack[depth++] = {node.first + (aFirst ? 1u : 0u), farther};
            }
            if (closer < kMissed) {
                stack[depth++] = {node.first + (aFirst ? 0u : 1u), closer};
            }
            continue;
        }
        for (std::uint32_t i = node.first; i < node.first + node.count; ++i) {
            const Facet& f = facets_[i];
            const Vec3 p = cross(ray.direction, f.edge2);
            const double det = dot(f.edge1, p);
            if (std::abs(det) < 1e-14) {
                continue;
            }
            const double scale = 1.0 / det;
            const Vec3 s = ray.origin - f.corner;
            const double u = dot(s, p) * scale;
            if (u < 0 || u > 1) {
                continue;
            }
            const Vec3 q = cross(s, f.edge1);
            const double v = dot(ray.direction, q) * scale;
            if (v < 0 || u + v > 1) {
                continue;
            }
            const double t = dot(f.edge2, q) * scale;
            if (t > kNear && t < hit.distance) {
                if constexpr (AnyHit) {
                    return true;
                }
                hit = {t, u, v, f.index};
                limit = static_cast<float>(t * (1 + 1e-6));
                found = true;
            }
        }
    }
    return found;
}

bool Bvh::nearest(const Ray& ray, Hit& hit) const {
    hit.distance = kFar;
    return traverse<false>(ray, hit);
}

bool Bvh::occluded(const Ray& ray, double maxDistance) const {
    Hit hit;
    hit.distance = maxDistance;
    return traverse<true>(ray, hit);
}

}  // namespace lumaweave
