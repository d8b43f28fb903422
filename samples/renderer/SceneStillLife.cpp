// SPDX-License-Identifier: GPL-3.0-or-later
#include "Noise.h"
#include "Scene.h"

namespace lumaweave {

namespace {

constexpr double kTableTop = 0.76;
constexpr double kTableHalfX = 0.62;
constexpr double kTableHalfZ = 0.44;
const Placement kTable{{1.32, 0, 2.86}, 0.16, 0};

void addTable(Mesh& mesh) {
    mesh.addBox({-kTableHalfX, kTableTop - 0.035, -kTableHalfZ},
                {kTableHalfX, kTableTop, kTableHalfZ}, {Material::ShelfWood, 201, 0.07}, kTable);
    for (const double x : {-0.54, 0.54}) {
        for (const double z : {-0.36, 0.36}) {
            mesh.addBox({x - 0.03, 0, z - 0.03}, {x + 0.03, kTableTop - 0.03, z + 0.03},
                        {Material::ShelfWood, 202, 0.06}, kTable);
        }
    }
}

/// How far a point lies over the edge of the table top.
double overhang(double v, double half) {
    return std::max(0.0, std::abs(v) - half);
}

/// A cloth in its own flat coordinates, let fall over the edges of the table.
Vec3 drape(double x, double z) {
    const double fallX = overhang(x, kTableHalfX + 0.006);
    const double fallZ = overhang(z, kTableHalfZ + 0.006);
    const double fall = std::max(fallX, fallZ) + 0.35 * std::min(fallX, fallZ);
    const double flare = smoothstep(0.0, 0.12, fall);
    const double fold = 0.020 * std::sin(x * 19 + 1.5 * std::sin(z * 7)) +
                        0.020 * std::sin(z * 23 + 1.2 * std::sin(x * 5));
    const double out = 0.008 + flare * (0.018 + fold + 0.05 * fall);
    const double px = std::clamp(x, -kTableHalfX - 0.006, kTableHalfX + 0.006) +
                      (fallX > 0 ? std::copysign(out, x) : 0.0);
    const double pz = std::clamp(z, -kTableHalfZ - 0.006, kTableHalfZ + 0.006) +
                      (fallZ > 0 ? std::copysign(out, z) : 0.0);
    const double crease = 0.0035 * fbm({x * 6, 2.0, z * 6}, 3) +
                          0.003 * smoothstep(0.92, 1.0, 1 - std::abs(x - 0.03) * 12);
    return {px, kTableTop + 0.004 + crease - fall, pz};
}

void addCloth(Mesh& mesh) {
    constexpr double kHalfX = 0.86;
    constexpr double kHalfZ = 0.70;
    const auto shape = [](double u, double v) {
        return drape((0.5 - u) * 2 * kHalfX, (v - 0.5) * 2 * kHalfZ);
    };
    const auto texture = [](double u, double v) {
        return Vec3{(0.5 - u) * 2 * kHalfX, 0.0, (v - 0.5) * 2 * kHalfZ};
    };
    mesh.addSurface(110, 96, shape, {Material::Tablecloth, 211, 0.03}, kTable, texture);
}

void addFruitBowl(Mesh& mesh) {
    const Vec3 foot = kTable.point({0.10, kTableTop + 0.008, 0.02});
    mesh.addTurned({{0.001, 0.0},
                    {0.085, 0.0},
                    {0.12, 0.035},
                    {0.165, 0.085},
                    {0.172, 0.088},
                    {0.16, 0.08},
                    {0.11, 0.04},
                    {0.001, 0.022}},
                   48, {Material::Wicker, 221}, {foot, 0, 0});
    struct Fruit {
        Material kind;
        Vec3 at;
        double radius;
    };
    const Fruit fruits[] = {
        {Material::Apple, {-0.075, 0.082, -0.04}, 0.041},
        {Material::Orange, {0.010, 0.080, -0.085}, 0.042},
        {Material::Apple, {0.088, 0.084, -0.030}, 0.040},
        {Material::Pear, {0.060, 0.086, 0.065}, 0.039},
        {Material::Orange, {-0.045, 0.082, 0.070}, 0.042},
        {Material::Pear, {0.0, 0.064, 0.0}, 0.042},
        {Material::Apple, {-0.010, 0.138, -0.012}, 0.041},
        {Material::Orange, {0.052, 0.134, 0.022}, 0.038},
    };
    std::uint32_t seed = 230;
    for (const Fruit& f : fruits) {
        const double tall = f.kind == Material::Pear ? 1.15 : 0.93;
        mesh.addEllipsoid(foot + f.at, {f.radius, f.radius * tall, f.radius}, {f.kind, ++seed}, 28);
        mesh.addBox({-0.0018, 0, -0.0018}, {0.0018, 0.018, 0.0018}, {Material::Stem, seed},
                    {foot + f.at + Vec3{0, f.radius * tall * 0.95, 0}, 0.3, 0.2});
    }
    mesh.addEllipsoid(kTable.point({-0.20, kTableTop + 0.048, -0.17}), {0.042, 0.040, 0.042},
                      {Material::Apple, 241}, 28);
    mesh.addEllipsoid(kTable.point({-0.10, kTableTop + 0.049, -0.24}), {0.043, 0.041, 0.043},
                      {Material::Orange, 242}, 28);
}

/// One bent leaf that starts at `foot` and reaches along `reach`.
void addLeaf(Mesh& mesh, const Vec3& foot, const Vec3& reach, double width, double droop,
             std::uint32_t seed) {
    const Vec3 side = normalized(cross(Vec3{0, 1, 0}, reach));
    const auto shape = [=](double u, double v) {
        const double across = (u - 0.5) * 2;
        const double t = std::clamp(v, 0.0, 1.0);
        const double w = width * std::pow(std::sin(kPi * (0.03 + 0.95 * t)), 0.8);
        const Vec3 spine = foot + reach * v + Vec3{0, -droop * v * v, 0};
        return spine + side * (across * w) + Vec3{0, 0.25 * w * across * across, 0};
    };
    const auto texture = [](double u, double v) { return Vec3{(u - 0.5) * 2, v, 0.0}; };
    mesh.addSurface(6, 12, shape, {Material::HouseLeaf, seed}, {}, texture);
}

void addStem(Mesh& mesh, const Vec3& from, const Vec3& to, double thick, std::uint32_t seed) {
    const Vec3 side = normalized(cross(to - from, Vec3{0.3, 0.1, 1})) * thick;
    const Vec3 other = normalized(cross(to - from, side)) * thick;
    const auto shape = [=](double u, double v) {
        const double angle = -u * 2 * kPi;
        return mix(from, to, v) + side * std::cos(angle) + other * std::sin(angle);
    };
    mesh.addSurface(6, 4, shape, {Material::Stem, seed});
}

void addVase(Mesh& mesh) {
    const Vec3 foot = kTable.point({0.38, kTableTop + 0.008, 0.20});
    mesh.addTurned({{0.001, 0},
                    {0.055, 0},
                    {0.062, 0.02},
                    {0.095, 0.10},
                    {0.10, 0.16},
                    {0.065, 0.235},
                    {0.040, 0.275},
                    {0.052, 0.31},
                    {0.045, 0.305},
                    {0.03, 0.27},
                    {0.001, 0.25}},
                   56, {Material::Ceramic, 251}, {foot, 0, 0});
    RandomStream random(4242);
    for (std::uint32_t k = 0; k < 9; ++k) {
        const double angle = random.between(0, 2 * kPi);
        const double lean = random.between(0.05, 0.20);
        const Vec3 tip =
            foot + Vec3{lean * std::cos(angle), random.between(0.42, 0.62), lean * std::sin(angle)};
        const Vec3 mouth = foot + Vec3{0, 0.28, 0};
        addStem(mesh, mouth, tip, 0.0025, 260 + k);
        for (std::uint32_t j = 0; j < 5; ++j) {
            const double turn = random.between(0, 2 * kPi);
            const Vec3 at = mix(mouth, tip, 0.45 + 0.13 * j);
            addLeaf(mesh, at,
                    Vec3{std::cos(turn) * 0.08, random.between(0, 0.05), std::sin(turn) * 0.08},
                    0.016, 0.02, 1000 + 10 * k + j);
        }
    }
}

void addCupAndBook(Mesh& mesh) {
    const Vec3 foot = kTable.point({-0.40, kTableTop + 0.008, 0.12});
    mesh.addTurned({{0.001, 0.004},
                    {0.04, 0.004},
                    {0.075, 0.014},
                    {0.078, 0.016},
                    {0.04, 0.009},
                    {0.001, 0.008}},
                   40, {Material::Ceramic, 281}, {foot, 0, 0});
    mesh.addTurned({{0.001, 0.01},
                    {0.025, 0.01},
                    {0.038, 0.04},
                    {0.044, 0.075},
                    {0.041, 0.074},
                    {0.034, 0.04},
                    {0.001, 0.02}},
                   40, {Material::Ceramic, 282}, {foot, 0, 0});
    const Placement place{kTable.point({-0.28, kTableTop + 0.010, -0.33}), 0.75, 0};
    const Finish cover{Material::Book, 291, 0.04};
    mesh.addBox({-0.12, 0, 0}, {0.12, 0.004, 0.17}, cover, place, false);
    mesh.addBox({-0.12, 0.030, 0}, {0.12, 0.034, 0.17}, cover, place, false);
    mesh.addBox({-0.12, 0.004, 0}, {0.12, 0.030, 0.005}, cover, place, false);
    mesh.addBox({-0.117, 0.004, 0.005}, {0.117, 0.030, 0.166}, {Material::Pages, 292, 0.04}, place,
                false);
}

void addPlant(Mesh& mesh) {
    const Vec3 foot{2.14, 0, 4.42};
    mesh.addTurned({{0.001, 0},
                    {0.13, 0},
                    {0.15, 0.1},
                    {0.185, 0.26},
                    {0.20, 0.27},
                    {0.20, 0.31},
                    {0.175, 0.305},
                    {0.17, 0.27}},
                   40, {Material::Terracotta, 301}, {foot, 0, 0});
    mesh.addEllipsoid(foot + Vec3{0, 0.26, 0}, {0.172, 0.02, 0.172}, {Material::Soil, 302}, 24);
    RandomStream random(808);
    for (std::uint32_t k = 0; k < 30; ++k) {
        const double angle = 2.4 * k + random.between(-0.3, 0.3);
        const double rise = random.between(0.35, 1.15);
        const Vec3 out{std::cos(angle), 0, std::sin(angle)};
        const Vec3 top = foot + Vec3{0, 0.27 + rise, 0} + out * (0.04 + 0.16 * random.next());
        addStem(mesh, foot + Vec3{0, 0.27, 0} + out * 0.02, top, 0.005, 310 + k);
        const double reach = random.between(0.16, 0.27);
        addLeaf(mesh, top, out * reach + Vec3{0, random.between(0.02, 0.16), 0},
                random.between(0.045, 0.075), random.between(0.05, 0.20), 340 + k);
    }
}

void addSillThings(Mesh& mesh) {
    const Vec3 pot{1.35, kWindowSill + 0.004, kRoomBack + 0.07};
    mesh.addTurned({{0.001, 0},
                    {0.05, 0},
                    {0.068, 0.09},
                    {0.075, 0.092},
                    {0.075, 0.11},
                    {0.066, 0.11},
                    {0.001, 0.095}},
                   32, {Material::Terracotta, 401}, {pot, 0, 0});
    RandomStream random(606);
    for (std::uint32_t k = 0; k < 26; ++k) {
        const double angle = random.between(0, 2 * kPi);
        const Vec3 out{std::cos(angle) * 0.09, random.between(0.05, 0.16), std::sin(angle) * 0.06};
        addLeaf(mesh, pot + Vec3{0, 0.10, 0} + out * 0.2, out, 0.022, 0.03, 410 + k);
    }
    mesh.addTurned({{0.001, 0},
                    {0.045, 0},
                    {0.05, 0.05},
                    {0.030, 0.11},
                    {0.022, 0.15},
                    {0.027, 0.17},
                    {0.001, 0.16}},
                   32, {Material::Ceramic, 441}, {{-0.36, kWindowSill + 0.004, 5.06}, 0, 0});
}

}  // namespace

void addStillLife(Mesh& mesh) {
    addTable(mesh);
    addCloth(mesh);
    addFruitBowl(mesh);
    addVase(mesh);
    addCupAndBook(mesh);
    addPlant(mesh);
    addSillThings(mesh);
}

}  // namespace lumaweave
