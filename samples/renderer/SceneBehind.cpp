// SPDX-License-Identifier: GPL-3.0-or-later
#include "Noise.h"
#include "Scene.h"

namespace lumaweave {

namespace {

/// A panelled door in the wall opposite the window.
void addDoor(Mesh& mesh) {
    constexpr double kLeft = 0.55;
    constexpr double kRight = 1.47;
    constexpr double kTop = 2.08;
    constexpr double kFace = kRoomFront + 0.035;
    const auto wood = [&mesh](const Vec3& low, const Vec3& high, std::uint32_t seed) {
        mesh.addBox(low, high, {Material::PaintedWood, seed, 0.07});
    };
    // The frame stands out from the wall, the panels lie back in the leaf.
    wood({kLeft - 0.10, 0, kRoomFront}, {kLeft, kTop + 0.10, kFace + 0.02}, 601);
    wood({kRight, 0, kRoomFront}, {kRight + 0.10, kTop + 0.10, kFace + 0.02}, 602);
    wood({kLeft, kTop, kRoomFront}, {kRight, kTop + 0.10, kFace + 0.02}, 603);
    wood({kLeft, 0.01, kRoomFront}, {kRight, kTop, kFace - 0.02}, 604);
    const double middle = 0.5 * (kLeft + kRight);
    std::uint32_t seed = 610;
    for (const double x : {kLeft, middle - 0.06, kRight - 0.12}) {
        wood({x, 0.01, kRoomFront}, {x + 0.12, kTop, kFace}, ++seed);
    }
    for (const double y : {0.01, 0.82, 1.42, kTop - 0.13}) {
        wood({kLeft, y, kRoomFront}, {kRight, y + (y < 0.1 ? 0.22 : 0.13), kFace}, ++seed);
    }
    mesh.addEllipsoid({kLeft + 0.06, 1.02, kFace + 0.055}, {0.03, 0.03, 0.026},
                      {Material::Brass, 630}, 24);
    mesh.addBox({kLeft + 0.045, 0.94, kFace}, {kLeft + 0.075, 1.10, kFace + 0.006},
                {Material::Brass, 631, 0.06});
    mesh.addBox({kLeft + 0.052, 1.012, kFace}, {kLeft + 0.068, 1.028, kFace + 0.04},
                {Material::Brass, 632, 0.06});
}

/// A framed picture whose canvas faces +z in its own space.
void addPicture(Mesh& mesh, const Vec3& middle, double turn, double width, double height,
                std::uint32_t seed) {
    constexpr double kRim = 0.05;
    const double w = 0.5 * width;
    const double h = 0.5 * height;
    const Placement place{middle, turn, 0};
    const auto rail = [&](double x0, double x1, double y0, double y1) {
        mesh.addBox({x0, y0, 0}, {x1, y1, 0.034}, {Material::PictureFrame, seed, 0.08}, place);
    };
    rail(-w - kRim, w + kRim, h, h + kRim);
    rail(-w - kRim, w + kRim, -h - kRim, -h);
    rail(-w - kRim, -w, -h, h);
    rail(w, w + kRim, -h, h);
    mesh.addBox({-w, -h, 0.002}, {w, h, 0.016}, {Material::Painting, seed, 0.07}, place, false);
}

/// A long low cupboard with two doors and three drawers.
void addSideboard(Mesh& mesh) {
    constexpr double kLeft = -2.05;
    constexpr double kRight = -0.25;
    constexpr double kTop = 0.80;
    constexpr double kFace = kRoomFront + 0.46;
    const auto wood = [&mesh](const Vec3& low, const Vec3& high, std::uint32_t seed) {
        mesh.addBox(low, high, {Material::ShelfWood, seed, 0.07});
    };
    wood({kLeft, 0.12, kRoomFront + 0.02}, {kRight, kTop - 0.03, kFace - 0.02}, 651);
    wood({kLeft - 0.03, kTop - 0.03, kRoomFront}, {kRight + 0.03, kTop, kFace + 0.02}, 652);
    for (const double x : {kLeft + 0.03, kRight - 0.09}) {
        for (const double z : {kRoomFront + 0.05, kFace - 0.09}) {
            wood({x, 0, z}, {x + 0.06, 0.12, z + 0.06}, 653);
        }
    }
    const double step = (kRight - kLeft) / 3;
    std::uint32_t seed = 660;
    for (int k = 0; k < 3; ++k) {
        const double x = kLeft + k * step;
        const int rows = k == 1 ? 3 : 1;
        const double high = (kTop - 0.05 - 0.14) / rows;
        for (int r = 0; r < rows; ++r) {
            const double y = 0.14 + r * high;
            wood({x + 0.012, y, kFace - 0.02}, {x + step - 0.012, y + high - 0.012, kFace}, ++seed);
            const double knob = k == 0 ? x + step - 0.06 : k == 2 ? x + 0.06 : x + 0.5 * step;
            mesh.addEllipsoid({knob, y + 0.5 * high, kFace + 0.012}, {0.016, 0.016, 0.016},
                              {Material::Brass, ++seed}, 16);
        }
    }
}

/// What stands on the sideboard: a jar, a pair of candlesticks and a bowl of oranges.
void addSideboardThings(Mesh& mesh) {
    constexpr double kTop = 0.802;
    constexpr double kMiddle = kRoomFront + 0.24;
    mesh.addTurned({{0.001, 0},
                    {0.07, 0},
                    {0.10, 0.06},
                    {0.125, 0.16},
                    {0.10, 0.26},
                    {0.05, 0.31},
                    {0.062, 0.34},
                    {0.055, 0.335},
                    {0.001, 0.30}},
                   48, {Material::Ceramic, 701}, {{-1.80, kTop, kMiddle}, 0, 0});
    for (const double x : {-0.62, -0.48}) {
        mesh.addTurned({{0.001, 0},
                        {0.055, 0},
                        {0.05, 0.015},
                        {0.014, 0.03},
                        {0.012, 0.10},
                        {0.02, 0.12},
                        {0.012, 0.14},
                        {0.012, 0.20},
                        {0.028, 0.215},
                        {0.001, 0.22}},
                       28, {Material::Brass, 711}, {{x, kTop, kMiddle + (x + 0.55) * 0.6}, 0, 0});
        mesh.addTurned({{0.012, 0.215}, {0.012, 0.40}, {0.001, 0.405}}, 16, {Material::Pages, 712},
                       {{x, kTop, kMiddle + (x + 0.55) * 0.6}, 0, 0});
    }
    const Vec3 bowl{-1.20, kTop, kMiddle + 0.02};
    mesh.addTurned({{0.001, 0},
                    {0.07, 0},
                    {0.13, 0.05},
                    {0.17, 0.10},
                    {0.162, 0.10},
                    {0.12, 0.055},
                    {0.001, 0.02}},
                   48, {Material::Ceramic, 721}, {bowl, 0, 0});
    std::uint32_t seed = 730;
    for (int k = 0; k < 6; ++k) {
        const double angle = k * 2 * kPi / 5 + 0.4;
        const double out = k < 5 ? 0.078 : 0.0;
        const Vec3 at{out * std::cos(angle), k < 5 ? 0.085 : 0.125, out * std::sin(angle)};
        mesh.addEllipsoid(bowl + at, {0.042, 0.040, 0.042}, {Material::Orange, ++seed}, 28);
    }
}

/// A bench under the brick wall, with cushions and a basket beside it.
void addBench(Mesh& mesh) {
    constexpr double kNear = -1.15;
    constexpr double kFar = 0.65;
    constexpr double kDeep = 0.42;
    mesh.addBox({kRoomRight - kDeep - 0.03, 0.40, kNear}, {kRoomRight - 0.03, 0.44, kFar},
                {Material::ShelfWood, 751, 0.07});
    for (const double z : {kNear + 0.08, kFar - 0.14}) {
        mesh.addBox({kRoomRight - kDeep, 0, z}, {kRoomRight - 0.06, 0.40, z + 0.06},
                    {Material::ShelfWood, 752, 0.07});
    }
    std::uint32_t seed = 760;
    for (const double z : {-0.86, -0.30, 0.34}) {
        const Placement place{{kRoomRight - 0.14, 0.63, z}, kPi / 2 + 0.2 * (z + 0.2), 0};
        mesh.addCushion({0, 0, 0}, {0.20, 0.19, 0.075}, 0.5,
                        {seed % 2 == 0 ? Material::Cushion : Material::Upholstery, ++seed, 0.05},
                        place);
    }
    mesh.addTurned({{0.001, 0},
                    {0.16, 0},
                    {0.20, 0.16},
                    {0.21, 0.34},
                    {0.195, 0.34},
                    {0.18, 0.16},
                    {0.001, 0.03}},
                   48, {Material::Wicker, 771}, {{kRoomRight - 0.28, 0.02, 1.02}, 0, 0});
}

/// A lamp that hangs from the ceiling, above the viewer's left.
void addHangingLamp(Mesh& mesh) {
    const Placement place{{-0.75, 0, 0.75}, 0, 0};
    mesh.addTurned({{0.006, 2.05}, {0.006, kRoomHeight}}, 12, {Material::Brass, 781}, place);
    mesh.addTurned({{0.24, 1.90}, {0.20, 1.98}, {0.12, 2.05}, {0.02, 2.08}}, 48,
                   {Material::Lampshade, 782}, place);
}

}  // namespace

void addBehind(Mesh& mesh) {
    addDoor(mesh);
    addPicture(mesh, {-1.45, 1.60, kRoomFront}, 0, 0.95, 0.62, 641);
    addPicture(mesh, {-0.55, 1.66, kRoomFront}, 0, 0.42, 0.54, 642);
    addPicture(mesh, {kRoomLeft, 1.55, 0.55}, kPi / 2, 1.30, 0.86, 643);
    addPicture(mesh, {kRoomLeft, 1.62, 1.75}, kPi / 2, 0.44, 0.60, 644);
    addSideboard(mesh);
    addSideboardThings(mesh);
    addBench(mesh);
    addHangingLamp(mesh);
}

}  // namespace lumaweave
