// SPDX-License-Identifier: GPL-3.0-or-later
#include "Noise.h"
#include "Scene.h"

namespace lumaweave {

namespace {

constexpr double kDepth = kRoomBack - kRoomFront;
constexpr double kBreadth = kRoomRight - kRoomLeft;

void addShell(Mesh& mesh) {
    const Vec3 along{0, 0, kDepth};
    const Vec3 across{kBreadth, 0, 0};
    const Vec3 up{0, kRoomHeight, 0};
    mesh.addPatch({kRoomLeft, 0, kRoomFront}, along, across, {Material::Floor, 1, 0.07});
    mesh.addPatch({kRoomLeft, kRoomHeight, kRoomFront}, across, along,
                  {Material::Plaster, 2, 0.12});
    mesh.addPatch({kRoomLeft, 0, kRoomFront}, up, along, {Material::Plaster, 3, 0.08});
    mesh.addPatch({kRoomRight, 0, kRoomFront}, along, up, {Material::Brick, 4, 0.08});
    mesh.addPatch({kRoomLeft, 0, kRoomFront}, across, up, {Material::Plaster, 5, 0.2});
}

void addWindowWall(Mesh& mesh) {
    const auto panel = [&mesh](double x0, double x1, double y0, double y1) {
        mesh.addPatch({x0, y0, kRoomBack}, {0, y1 - y0, 0}, {x1 - x0, 0, 0},
                      {Material::Plaster, 6, 0.07});
    };
    panel(kRoomLeft, kWindowLeft, 0, kRoomHeight);
    panel(kWindowRight, kRoomRight, 0, kRoomHeight);
    panel(kWindowLeft, kWindowRight, 0, kWindowSill);
    panel(kWindowLeft, kWindowRight, kWindowTop, kRoomHeight);
    const Finish reveal{Material::Plaster, 6, 0.05};
    const Vec3 depth{0, 0, kWallThickness};
    const Vec3 wide{kWindowRight - kWindowLeft, 0, 0};
    const Vec3 high{0, kWindowTop - kWindowSill, 0};
    mesh.addPatch({kWindowLeft, kWindowSill, kRoomBack}, high, depth, reveal);
    mesh.addPatch({kWindowRight, kWindowSill, kRoomBack}, depth, high, reveal);
    mesh.addPatch({kWindowLeft, kWindowTop, kRoomBack}, wide, depth, reveal);
    // The sill board stands out a little from the wall.
    mesh.addBox({kWindowLeft - 0.06, kWindowSill - 0.035, kRoomBack - 0.07},
                {kWindowRight + 0.06, kWindowSill + 0.004, kWindowPlane},
                {Material::PaintedWood, 7, 0.05});
}

void addCasements(Mesh& mesh) {
    constexpr double kFront = kRoomBack + 0.17;
    constexpr double kBack = kFront + 0.06;
    std::uint32_t seed = 20;
    const auto bar = [&](double x0, double x1, double y0, double y1, double bulge) {
        mesh.addBox({x0, y0, kFront - bulge}, {x1, y1, kBack + bulge},
                    {Material::PaintedWood, ++seed, 0.06});
    };
    constexpr double kTransom = kWindowSill + 1.12;
    bar(kWindowLeft, kWindowRight, kWindowSill, kWindowSill + 0.075, 0.012);
    bar(kWindowLeft, kWindowRight, kWindowTop - 0.07, kWindowTop, 0.012);
    bar(kWindowLeft, kWindowRight, kTransom, kTransom + 0.06, 0.008);
    bar(kWindowLeft, kWindowLeft + 0.065, kWindowSill, kWindowTop, 0.01);
    bar(kWindowRight - 0.065, kWindowRight, kWindowSill, kWindowTop, 0.01);
    const double step = (kWindowRight - kWindowLeft) / 3;
    for (int k = 0; k < 3; ++k) {
        const double x = kWindowLeft + k * step;
        if (k > 0) {
            bar(x - 0.045, x + 0.045, kWindowSill, kWindowTop, 0.005);
        }
        bar(x, x + step, kWindowSill + 0.60, kWindowSill + 0.622, -0.012);
    }
}

void addBeams(Mesh& mesh) {
    std::uint32_t seed = 60;
    for (double x = -2.05; x < 2.4; x += 0.82) {
        mesh.addBox({x - 0.07, kRoomHeight - 0.15, kRoomFront}, {x + 0.07, kRoomHeight, kRoomBack},
                    {Material::Beam, ++seed, 0.12});
    }
}

void addSkirting(Mesh& mesh) {
    constexpr double kHigh = 0.14;
    constexpr double kThick = 0.018;
    mesh.addBox({kRoomLeft, 0, kRoomBack - kThick}, {kRoomRight, kHigh, kRoomBack},
                {Material::PaintedWood, 71, 0.08});
    mesh.addBox({kRoomLeft, 0, kRoomFront}, {kRoomLeft + kThick, kHigh, kRoomBack},
                {Material::PaintedWood, 72, 0.08});
    mesh.addBox({kRoomRight - kThick, 0, kRoomFront}, {kRoomRight, kHigh, kRoomBack},
                {Material::PaintedWood, 73, 0.08});
}

/// A pleated curtain gathered between two x positions.
void addCurtain(Mesh& mesh, double left, double right, std::uint32_t seed) {
    constexpr double kTop = 2.56;
    constexpr double kBottom = 0.03;
    const double phase = hashUnit(seed) * 6;
    const auto shape = [=](double u, double v) {
        const double y = mix(kBottom, kTop, v);
        const double gather = 1 - 0.10 * std::sin(kPi * saturate(v));
        const double middle = 0.5 * (left + right);
        const double fold = 0.030 * std::sin(u * 44 + phase + 0.5 * std::sin(v * 5)) +
                            0.016 * std::sin(u * 19 + v * 2.5 + phase);
        const double x = middle + (u - 0.5) * (right - left) * gather;
        return Vec3{x, y, kRoomBack - 0.11 + fold * (1.15 - 0.35 * v)};
    };
    const auto texture = [=](double u, double v) {
        return Vec3{u * (right - left) * 2.2, mix(kBottom, kTop, v), 0.1 * seed};
    };
    // Mirrored in u, so that the front faces the room.
    const auto mirrored = [&](double u, double v) { return shape(1 - u, v); };
    mesh.addSurface(72, 30, mirrored, {Material::Curtain, seed, 0.1}, {}, texture);
}

void addCurtainRod(Mesh& mesh) {
    mesh.addBox({kWindowLeft - 0.55, 2.565, kRoomBack - 0.125},
                {kWindowRight + 0.5, 2.59, kRoomBack - 0.10}, {Material::Brass, 81, 0.1});
    mesh.addEllipsoid({kWindowLeft - 0.56, 2.577, kRoomBack - 0.112}, {0.03, 0.03, 0.03},
                      {Material::Brass, 82}, 16);
    mesh.addEllipsoid({kWindowRight + 0.51, 2.577, kRoomBack - 0.112}, {0.03, 0.03, 0.03},
                      {Material::Brass, 83}, 16);
}

/// A framed picture whose canvas faces +z in its own space.
void addPicture(Mesh& mesh, const Vec3& middle, double turn, double width, double height,
                std::uint32_t seed) {
    const Placement place{middle, turn, 0};
    const double w = 0.5 * width;
    const double h = 0.5 * height;
    constexpr double kRim = 0.045;
    const auto rail = [&](double x0, double x1, double y0, double y1) {
        mesh.addBox({x0, y0, 0}, {x1, y1, 0.032}, {Material::PictureFrame, seed, 0.08}, place);
    };
    rail(-w - kRim, w + kRim, h, h + kRim);
    rail(-w - kRim, w + kRim, -h - kRim, -h);
    rail(-w - kRim, -w, -h, h);
    rail(w, w + kRim, -h, h);
    mesh.addBox({-w, -h, 0.002}, {w, h, 0.016}, {Material::Painting, seed, 0.07}, place, false);
}

void addPictures(Mesh& mesh) {
    constexpr double kLeftTurn = kPi / 2;
    constexpr double kRightTurn = -kPi / 2;
    addPicture(mesh, {kRoomLeft, 1.62, 3.30}, kLeftTurn, 0.62, 0.46, 91);
    addPicture(mesh, {kRoomLeft, 1.78, 4.15}, kLeftTurn, 0.50, 0.62, 92);
    addPicture(mesh, {kRoomLeft, 1.17, 3.32}, kLeftTurn, 0.34, 0.24, 95);
    addPicture(mesh, {kRoomRight, 1.70, 3.55}, kRightTurn, 0.80, 0.56, 93);
    addPicture(mesh, {kRoomRight, 1.75, 4.45}, kRightTurn, 0.40, 0.50, 94);
}

}  // namespace

void addRoom(Mesh& mesh) {
    addShell(mesh);
    addWindowWall(mesh);
    addCasements(mesh);
    addBeams(mesh);
    addSkirting(mesh);
    addCurtain(mesh, kWindowLeft - 0.42, kWindowLeft + 0.03, 31);
    addCurtain(mesh, kWindowRight - 0.03, kWindowRight + 0.40, 32);
    addCurtainRod(mesh);
    addPictures(mesh);
}

}  // namespace lumaweave
