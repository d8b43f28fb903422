// SPDX-License-Identifier: GPL-3.0-or-later
#include "Noise.h"
#include "Scene.h"

namespace lumaweave {

namespace {

/// Height of the land: a level garden, a gentle valley, then rising hills.
double landHeight(double x, double z) {
    const double away = std::hypot(x * 0.7, z);
    const double roll = fbm({x * 0.011, 5.0, z * 0.011}, 3) - 0.5;
    const double rise = 22 * smoothstep(110, 330, away) + 0.012 * std::max(0.0, away - 60);
    return kGroundLevel - 0.8 * smoothstep(20, 60, away) + roll * 9 * smoothstep(25, 150, away) +
           rise * (0.6 + 0.9 * fbm({x * 0.006, 2.0, z * 0.004}, 2));
}

void addLand(Mesh& mesh) {
    const auto shape = [](double u, double v) {
        const double z = 5.6 + 420 * v * v;
        const double x = (0.5 - u) * (60 + 900 * v);
        return Vec3{x, landHeight(x, z), z};
    };
    mesh.addSurface(150, 150, shape, {Material::Meadow, 501});
}

/// A range of hills far off; each stands behind the one before.
void addRange(Mesh& mesh, double z, double height, std::uint32_t seed) {
    const auto shape = [=](double u, double v) {
        const double x = (0.5 - u) * 2.6 * z;
        const double crest = fbm({x / (0.45 * z), static_cast<double>(seed), 0}, 4);
        const double woods = 0.05 * fbm({x / 14, static_cast<double>(seed), v * 40}, 2);
        const double y = -10 + v * (height * (0.35 + 1.3 * crest) * (1 + woods) + 10);
        return Vec3{x, y, z + 0.9 * height * 4 * v};
    };
    const auto texture = [&shape](double u, double v) { return shape(u, v); };
    mesh.addSurface(260, 14, shape, {Material::Hill, seed}, {}, texture);
}

struct House {
    double x, z, turn;
    double halfWidth, halfDepth, eaves, ridge;
    std::uint32_t seed;
};

void addRoof(Mesh& mesh, const House& h, const Placement& place) {
    const Finish tiles{Material::RoofTile, h.seed, 0.5};
    constexpr double kOver = 0.35;
    const double rise = h.ridge - h.eaves;
    const double drop = kOver * rise / h.halfDepth;
    const double slope = std::hypot(rise + drop, h.halfDepth + kOver);
    for (const double side : {-1.0, 1.0}) {
        const auto shape = [=](double u, double v) {
            const double x = side * (u - 0.5) * 2 * (h.halfWidth + kOver);
            const double z = side * mix(h.halfDepth + kOver, 0, v);
            const double sag = 0.10 * std::sin(kPi * u) * v;
            return Vec3{x, mix(h.eaves - drop, h.ridge, v) - sag, z};
        };
        const auto texture = [=](double u, double v) {
            return Vec3{u * 2 * h.halfWidth, 0.0, v * slope};
        };
        mesh.addSurface(8, 4, shape, tiles, place, texture);
    }
}

void addHouse(Mesh& mesh, const House& h) {
    const Placement place{{h.x, landHeight(h.x, h.z) - 0.3, h.z}, h.turn, 0};
    const Finish wall{Material::HouseWall, h.seed, 2.0};
    const double w = h.halfWidth;
    const double d = h.halfDepth;
    // Each wall carries its own coordinates: along and up.
    const auto side = [&](const Vec3& from, const Vec3& to) {
        const double run = length(to - from);
        const bool gable = std::abs(to.z - from.z) > std::abs(to.x - from.x);
        const auto shape = [&](double u, double v) {
            const double peak = gable ? (h.ridge - h.eaves) * (1 - std::abs(2 * u - 1)) : 0;
            const Vec3 at = mix(from, to, u);
            return Vec3{at.x, v * (h.eaves + peak), at.z};
        };
        const auto texture = [&](double u, double v) { return Vec3{u * run, shape(u, v).y, 0.0}; };
        mesh.addSurface(8, 2, shape, wall, place, texture);
    };
    side({w, 0, -d}, {-w, 0, -d});
    side({w, 0, d}, {w, 0, -d});
    side({-w, 0, -d}, {-w, 0, d});
    side({-w, 0, d}, {w, 0, d});
    addRoof(mesh, h, place);
    mesh.addBox({w * 0.4, h.eaves, 0.2}, {w * 0.4 + 0.9, h.ridge + 0.9, 0.9},
                {Material::HouseWall, h.seed | 7u, 1.0}, place);
}

void addVillage(Mesh& mesh) {
    const House houses[] = {
        {-9.5, 44, 0.55, 5.5, 3.6, 4.9, 7.8, 611},  {9.5, 92, -0.35, 6.0, 4.0, 5.2, 8.6, 1222},
        {-19, 78, -0.2, 6.5, 4.0, 5.0, 8.4, 1833},  {19.5, 74, 0.7, 5.0, 3.8, 5.4, 8.2, 2444},
        {-6, 104, 0.15, 7.0, 4.2, 5.6, 9.2, 3055},  {30, 118, -0.5, 6.0, 4.0, 5.0, 8.4, 3666},
        {11, 128, 0.4, 6.0, 4.2, 5.2, 8.8, 4277},   {-30, 132, 0.6, 7.5, 4.0, 5.0, 8.6, 4888},
        {-13, 158, -0.5, 6.5, 4.0, 5.0, 8.4, 5499}, {24, 170, 0.1, 7.0, 4.2, 5.0, 8.6, 6110},
    };
    for (const House& h : houses) {
        addHouse(mesh, h);
    }
}

struct Tree {
    double x, z, height, spread;
    int leaves;
    double leafSize;
};

void addCrown(Mesh& mesh, const Tree& tree, const Vec3& foot, std::uint32_t id) {
    RandomStream random(id * 7919u);
    struct Clump {
        Vec3 middle;
        double radius;
    };
    std::vector<Clump> clumps;
    for (int k = 0; k < 16; ++k) {
        const double angle = random.between(0, 2 * kPi);
        const double level = random.next();
        const double out =
            tree.spread * std::sqrt(random.next()) * std::sin(kPi * (0.25 + 0.65 * level));
        clumps.push_back({foot + Vec3{out * std::cos(angle), tree.height * (0.32 + 0.58 * level),
                                      out * std::sin(angle)},
                          tree.spread * random.between(0.28, 0.46)});
    }
    for (int k = 0; k < tree.leaves; ++k) {
        const Clump& clump = clumps[static_cast<std::size_t>(random.next() * 16)];
        const double z = random.between(-1, 1);
        const double angle = random.between(0, 2 * kPi);
        const double ring = std::sqrt(1 - z * z);
        const Vec3 out{ring * std::cos(angle), z, ring * std::sin(angle)};
        const Vec3 at = clump.middle + out * (clump.radius * std::cbrt(random.between(0.3, 1)));
        const Vec3 lean =
            normalized(out + Vec3{random.between(-0.8, 0.8), random.between(-0.3, 0.9),
                                  random.between(-0.8, 0.8)});
        const Tangents t = tangentsOf(lean);
        const double s = tree.leafSize * random.between(0.6, 1.3);
        mesh.addTriangle(at, at + t.first * s, at + t.second * s + t.first * (0.4 * s),
                         {Material::TreeLeaf, (id << 12) + static_cast<std::uint32_t>(k % 4096)});
    }
}

void addTree(Mesh& mesh, const Tree& tree, std::uint32_t id) {
    const Vec3 foot{tree.x, landHeight(tree.x, tree.z) - 0.2, tree.z};
    const double r = 0.035 * tree.height;
    mesh.addTurned({{r * 1.3, 0},
                    {r, 0.15 * tree.height},
                    {r * 0.7, 0.4 * tree.height},
                    {r * 0.2, 0.75 * tree.height}},
                   10, {Material::Bark, 700 + id}, {foot, 0, 0});
    addCrown(mesh, tree, foot, id);
}

void addTrees(Mesh& mesh) {
    const Tree trees[] = {
        {7.6, 27, 8.2, 2.5, 7000, 0.17},  {-4.6, 31, 4.2, 1.7, 4000, 0.15},
        {-17, 52, 9.5, 3.2, 5000, 0.26},  {9.5, 50, 6.0, 2.2, 3600, 0.22},
        {-2.2, 56, 6.5, 2.4, 3600, 0.24}, {-12, 66, 8.0, 2.8, 3400, 0.27},
        {20, 70, 10.0, 3.4, 3600, 0.30},  {3.0, 84, 6.0, 2.4, 2600, 0.30},
        {-1, 88, 8.0, 3.0, 2600, 0.34},   {-24, 98, 11, 4.0, 2600, 0.42},
        {22, 104, 10, 3.8, 2400, 0.42},   {-14, 118, 10, 4.0, 2200, 0.46},
        {2, 120, 9, 3.6, 2200, 0.44},     {36, 140, 12, 4.6, 2000, 0.55},
        {-38, 150, 12, 4.8, 2000, 0.58},  {4, 158, 11, 4.6, 1800, 0.60},
    };
    std::uint32_t id = 1;
    for (const Tree& tree : trees) {
        addTree(mesh, tree, id++);
    }
    RandomStream random(1717);
    for (int k = 0; k < 60; ++k) {
        const double z = random.between(95, 340);
        const double x = random.between(-0.42, 0.42) * z;
        const double height = random.between(5, 11);
        addTree(mesh, {x, z, height, 0.42 * height, 420, 0.085 * height}, id++);
    }
}

void addFence(Mesh& mesh) {
    constexpr double kLine = 22;
    std::uint32_t seed = 900;
    for (double x = -12; x < 14; x += 1.9) {
        const double y = landHeight(x, kLine);
        mesh.addBox({x - 0.06, y - 0.2, kLine - 0.06}, {x + 0.06, y + 1.15, kLine + 0.06},
                    {Material::Fence, ++seed, 0.5});
        for (const double rail : {0.45, 0.9}) {
            mesh.addBox({x, y + rail, kLine - 0.03}, {x + 1.9, y + rail + 0.10, kLine + 0.03},
                        {Material::Fence, ++seed, 0.5});
        }
    }
}

}  // namespace

void addOutside(Mesh& mesh) {
    addLand(mesh);
    addRange(mesh, 620, 95, 521);
    addRange(mesh, 1300, 240, 522);
    addRange(mesh, 2600, 460, 523);
    addVillage(mesh);
    addTrees(mesh);
    addFence(mesh);
}

}  // namespace lumaweave
