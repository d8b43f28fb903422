// SPDX-License-Identifier: GPL-3.0-or-later
#include "Noise.h"
#include "Scene.h"

namespace lumaweave {

namespace {

constexpr double kCaseLeft = -2.44;
constexpr double kCaseRight = -1.12;
constexpr double kCaseHeight = 2.2;
constexpr double kCaseFront = 4.66;
constexpr double kBoard = 0.028;

void addBook(Mesh& mesh, const Placement& place, double width, double height, double depth,
             std::uint32_t seed) {
    const double w = 0.5 * width;
    const Finish cover{Material::Book, seed, 0.09};
    mesh.addBox({-w, 0, 0}, {w, height, 0.006}, cover, place, false);
    mesh.addBox({-w, 0, 0.006}, {-w + 0.003, height, depth}, cover, place, false);
    mesh.addBox({w - 0.003, 0, 0.006}, {w, height, depth}, cover, place, false);
    mesh.addBox({-w + 0.003, 0.003, 0.006}, {w - 0.003, height - 0.005, depth - 0.004},
                {Material::Pages, seed, 0.06}, place, false);
}

/// A pile of books lying flat; returns the height of its top.
double addPile(Mesh& mesh, const Vec3& foot, int count, double turn, RandomStream& random) {
    double y = foot.y;
    for (int k = 0; k < count; ++k) {
        const double thick = random.between(0.022, 0.045);
        const double long_ = random.between(0.19, 0.26);
        const double deep = random.between(0.14, 0.18);
        const auto seed = static_cast<std::uint32_t>(random.next() * 4e9);
        const Placement place{{foot.x, y, foot.z}, turn + random.between(-0.2, 0.2), 0};
        const Finish cover{Material::Book, seed, 0.09};
        const double h = 0.5 * long_;
        mesh.addBox({-h, 0, 0}, {h, thick, 0.006}, cover, place, false);
        mesh.addBox({-h, 0, 0.006}, {h, 0.003, deep}, cover, place, false);
        mesh.addBox({-h, thick - 0.003, 0.006}, {h, thick, deep}, cover, place, false);
        mesh.addBox({-h + 0.004, 0.003, 0.006}, {h - 0.004, thick - 0.003, deep - 0.004},
                    {Material::Pages, seed, 0.06}, place, false);
        y += thick;
    }
    return y;
}

void addShelfOrnament(Mesh& mesh, const Vec3& foot, RandomStream& random) {
    const auto seed = static_cast<std::uint32_t>(random.next() * 4e9);
    const bool jar = random.next() > 0.5;
    const double s = random.between(0.8, 1.1);
    mesh.addTurned({{0.001, 0},
                    {0.045 * s, 0},
                    {0.060 * s, 0.06 * s},
                    {0.05 * s, 0.12 * s},
                    {0.022 * s, 0.15 * s},
                    {0.028 * s, 0.17 * s},
                    {0.001, 0.165 * s}},
                   24, {jar ? Material::Ceramic : Material::Terracotta, seed},
                   {foot + Vec3{0.07, 0, 0.09}, 0, 0});
}

void fillShelf(Mesh& mesh, double y, double clear, RandomStream& random) {
    double x = kCaseLeft + 0.035;
    const double end = kCaseRight - 0.05;
    while (x < end - 0.02) {
        const double what = random.next();
        if (what < 0.035 && x < end - 0.16) {
            addShelfOrnament(mesh, {x, y, kCaseFront + 0.04}, random);
            x += 0.155;
            continue;
        }
        if (what < 0.075 && x < end - 0.28) {
            addPile(mesh, {x + 0.135, y, kCaseFront + 0.035}, 4, 0, random);
            x += 0.285;
            continue;
        }
        const double width = random.between(0.016, 0.052);
        const double height = std::min(clear - 0.02, random.between(0.18, 0.30));
        const double depth = random.between(0.15, 0.22);
        const auto seed = static_cast<std::uint32_t>(random.next() * 4e9);
        const double set = kCaseFront + random.between(0.012, 0.05);
        // A book here and there leans back a little.
        const double tilt = random.next() > 0.85 ? 0.05 : 0.0;
        addBook(mesh, {{x + 0.5 * width, y, set}, random.between(-0.03, 0.03), tilt}, width, height,
                depth, seed);
        x += width + 0.0015 + (random.next() > 0.94 ? 0.03 : 0.0);
    }
}

void addBookcase(Mesh& mesh) {
    const auto board = [&](const Vec3& low, const Vec3& high, std::uint32_t seed) {
        mesh.addBox(low, high, {Material::ShelfWood, seed, 0.07});
    };
    board({kCaseLeft, 0, kCaseFront}, {kCaseLeft + kBoard, kCaseHeight, kRoomBack}, 102);
    board({kCaseRight - kBoard, 0, kCaseFront}, {kCaseRight, kCaseHeight, kRoomBack}, 103);
    board({kCaseLeft, 0.08, kRoomBack - 0.012}, {kCaseRight, kCaseHeight, kRoomBack - 0.004}, 104);
    board({kCaseLeft - 0.02, kCaseHeight, kCaseFront - 0.02},
          {kCaseRight + 0.02, kCaseHeight + 0.04, kRoomBack}, 105);
    board({kCaseLeft, 0, kCaseFront + 0.015}, {kCaseRight, 0.08, kCaseFront + 0.03}, 106);
    RandomStream random(7331);
    constexpr int kShelves = 6;
    constexpr double kPitch = (kCaseHeight - 0.08) / kShelves;
    for (int k = 0; k < kShelves; ++k) {
        const double y = 0.08 + k * kPitch;
        board({kCaseLeft + kBoard, y - kBoard, kCaseFront + 0.004},
              {kCaseRight - kBoard, y, kRoomBack}, 110 + static_cast<std::uint32_t>(k));
        fillShelf(mesh, y, kPitch - kBoard, random);
    }
    addPile(mesh, {-1.55, kCaseHeight + 0.04, 4.74}, 3, 0.1, random);
    mesh.addTurned({{0.001, 0},
                    {0.10, 0},
                    {0.15, 0.08},
                    {0.16, 0.2},
                    {0.13, 0.22},
                    {0.12, 0.1},
                    {0.001, 0.06}},
                   32, {Material::Wicker, 131}, {{-2.1, kCaseHeight + 0.04, 4.83}, 0, 0});
}

void addArmchair(Mesh& mesh) {
    const Placement place{{-1.42, 0, 3.42}, -2.25, 0};
    const Finish cloth{Material::Upholstery, 141, 0.05};
    // In its own space the chair looks along +z.
    mesh.addCushion({0, 0.30, 0}, {0.36, 0.13, 0.38}, 0.28, cloth, place);
    mesh.addCushion({0, 0.445, 0.04}, {0.29, 0.085, 0.36}, 0.42, cloth, place);
    Placement back = place;
    back.tilt = -0.20;
    mesh.addCushion({0, 0.62, -0.27}, {0.36, 0.44, 0.115}, 0.36, cloth, back);
    for (const double side : {-1.0, 1.0}) {
        mesh.addCushion({0.365 * side, 0.42, 0.02}, {0.085, 0.24, 0.39}, 0.40, cloth, place);
        for (const double z : {-0.30, 0.32}) {
            mesh.addTurned({{0.001, 0}, {0.018, 0}, {0.028, 0.1}, {0.034, 0.2}, {0.001, 0.21}}, 12,
                           {Material::Beam, 142}, {place.point({0.31 * side, 0, z}), 0, 0});
        }
    }
    Placement pillow = place;
    pillow.tilt = -0.35;
    mesh.addCushion({0.03, 0.63, 0.10}, {0.21, 0.20, 0.075}, 0.55, {Material::Cushion, 143, 0.05},
                    pillow);
}

void addFloorLamp(Mesh& mesh) {
    const Placement foot{{-2.08, 0, 4.32}, 0, 0};
    mesh.addTurned({{0.001, 0},
                    {0.15, 0.0},
                    {0.15, 0.018},
                    {0.03, 0.035},
                    {0.011, 0.06},
                    {0.011, 0.5},
                    {0.020, 0.55},
                    {0.011, 0.60},
                    {0.010, 1.5},
                    {0.001, 1.51}},
                   20, {Material::Brass, 151}, foot);
    mesh.addTurned({{0.235, 1.34}, {0.21, 1.45}, {0.18, 1.56}, {0.15, 1.66}}, 40,
                   {Material::Lampshade, 152}, foot);
}

void addRug(Mesh& mesh) {
    const Placement place{{-0.35, 0, 3.22}, 0.10, 0};
    const auto shape = [](double u, double v) {
        const double x = (u - 0.5) * 2.3;
        const double z = (v - 0.5) * 1.7;
        const double wave = fbm({x * 3, 1.0, z * 3}, 2);
        const bool rim = u <= 0 || u >= 1 || v <= 0 || v >= 1;
        return Vec3{x, rim ? 0.001 : 0.008 + 0.010 * wave, z};
    };
    const auto front = [&shape](double u, double v) { return shape(1 - u, v); };
    const auto texture = [](double u, double v) {
        return Vec3{(0.5 - u) * 2.3, 0.0, (v - 0.5) * 1.7};
    };
    mesh.addSurface(56, 42, front, {Material::Rug, 161, 0.05}, place, texture);
    RandomStream random(90210);
    for (int k = 0; k < 360; ++k) {
        const double side = k % 2 == 0 ? 1.0 : -1.0;
        const double z = (random.next() - 0.5) * 1.68;
        const double reach = side * (1.15 + random.between(0.03, 0.06));
        mesh.addTriangle(place.point({1.149 * side, 0.005, z - 0.003}),
                         place.point({1.149 * side, 0.005, z + 0.003}),
                         place.point({reach, 0.002, z + random.between(-0.01, 0.01)}),
                         {Material::Curtain, static_cast<std::uint32_t>(k)});
    }
}

/// A low stool in front of the shelves, with a pile of books.
void addStool(Mesh& mesh) {
    const Placement place{{-0.42, 0.018, 4.15}, 0.35, 0};
    mesh.addBox({-0.22, 0.36, -0.17}, {0.22, 0.395, 0.17}, {Material::ShelfWood, 171, 0.05}, place);
    for (const double x : {-0.18, 0.18}) {
        for (const double z : {-0.13, 0.13}) {
            mesh.addBox({x - 0.018, 0, z - 0.018}, {x + 0.018, 0.36, z + 0.018},
                        {Material::ShelfWood, 172, 0.06}, place);
        }
    }
    RandomStream random(5150);
    addPile(mesh, {-0.44, 0.413, 4.07}, 4, 0.3, random);
}

}  // namespace

void addFurniture(Mesh& mesh) {
    addBookcase(mesh);
    addArmchair(mesh);
    addFloorLamp(mesh);
    addRug(mesh);
    addStool(mesh);
}

}  // namespace lumaweave
