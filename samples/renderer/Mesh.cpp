// SPDX-License-Identifier: GPL-3.0-or-later
#include "Mesh.h"

namespace lumaweave {

namespace {

constexpr double kLift = 0.004;

int stepsFor(double extent, double cell) {
    return std::clamp(static_cast<int>(std::lround(extent / cell)), 1, 400);
}

/// Moves border probes inwards, so that they do not start inside the neighbouring wall.
double inset(double t, double extent) {
    const double margin = std::min(0.25, 0.015 / std::max(extent, 1e-6));
    return std::clamp(t, margin, 1 - margin);
}

double signedPower(double v, double exponent) {
    return std::copysign(std::pow(std::abs(v), exponent), v);
}

/// Texture axes with the longest side of the box along x, where wood grain runs.
Vec3 grainMapped(const Vec3& v, int longest) {
    switch (longest) {
        case 1:
            return {v.y, v.z, v.x};
        case 2:
            return {v.z, v.x, v.y};
        default:
            return v;
    }
}

}  // namespace

Vec3 Placement::direction(const Vec3& v) const {
    const double ct = std::cos(tilt);
    const double st = std::sin(tilt);
    const Vec3 tilted{v.x, v.y * ct - v.z * st, v.y * st + v.z * ct};
    const double c = std::cos(turn);
    const double s = std::sin(turn);
    return {tilted.x * c + tilted.z * s, tilted.y, -tilted.x * s + tilted.z * c};
}

void Mesh::stitch(std::uint32_t first, int stepsU, int stepsV, const Finish& finish) {
    const auto stride = static_cast<std::uint32_t>(stepsU + 1);
    for (int j = 0; j < stepsV; ++j) {
        for (int i = 0; i < stepsU; ++i) {
            const std::uint32_t a =
                first + static_cast<std::uint32_t>(j) * stride + static_cast<std::uint32_t>(i);
            const std::uint32_t b = a + 1;
            const std::uint32_t c = a + stride;
            triangles_.push_back({{a, b, c}, finish.material, finish.seed});
            triangles_.push_back({{b, c + 1, c}, finish.material, finish.seed});
        }
    }
}

void Mesh::addMappedPatch(const Patch& patch, const Finish& finish) {
    const double lengthU = length(patch.edgeU);
    const double lengthV = length(patch.edgeV);
    const int nu = stepsFor(lengthU, finish.cell);
    const int nv = stepsFor(lengthV, finish.cell);
    const Vec3 normal = normalized(cross(patch.edgeU, patch.edgeV));
    const auto first = static_cast<std::uint32_t>(vertices_.size());
    for (int j = 0; j <= nv; ++j) {
        for (int i = 0; i <= nu; ++i) {
            const double u = static_cast<double>(i) / nu;
            const double v = static_cast<double>(j) / nv;
            const Vec3 probe = patch.origin + patch.edgeU * inset(u, lengthU) +
                               patch.edgeV * inset(v, lengthV) + normal * kLift;
            vertices_.push_back({patch.origin + patch.edgeU * u + patch.edgeV * v, normal,
                                 patch.textureOrigin + patch.textureU * u + patch.textureV * v,
                                 probe});
        }
    }
    stitch(first, nu, nv, finish);
}

void Mesh::addPatch(const Vec3& origin, const Vec3& edgeU, const Vec3& edgeV,
                    const Finish& finish) {
    addMappedPatch({origin, edgeU, edgeV, origin, edgeU, edgeV}, finish);
}

void Mesh::addBox(const Vec3& low, const Vec3& high, const Finish& finish, const Placement& place,
                  bool grained) {
    const Vec3 size = high - low;
    int longest = 0;
    if (grained) {
        longest = size.y > size.x && size.y >= size.z ? 1 : size.z > size.x ? 2 : 0;
    }
    const auto face = [&](const Vec3& corner, const Vec3& u, const Vec3& v) {
        const Vec3 start = grained ? corner - low : corner;
        addMappedPatch(
            {place.point(corner), place.direction(u), place.direction(v),
             grainMapped(start, longest), grainMapped(u, longest), grainMapped(v, longest)},
            finish);
    };
    const Vec3 x{size.x, 0, 0};
    const Vec3 y{0, size.y, 0};
    const Vec3 z{0, 0, size.z};
    face(low, y, x);
    face(low + z, x, y);
    face(low, z, y);
    face(low + x, y, z);
    face(low, x, z);
    face(low + y, z, x);
}

void Mesh::addSurface(int stepsU, int stepsV, const SurfaceFunction& shape, const Finish& finish,
                      const Placement& place, const SurfaceFunction& texture) {
    const auto first = static_cast<std::uint32_t>(vertices_.size());
    constexpr double kDelta = 1e-4;
    for (int j = 0; j <= stepsV; ++j) {
        for (int i = 0; i <= stepsU; ++i) {
            const double u = static_cast<double>(i) / stepsU;
            const double v = static_cast<double>(j) / stepsV;
            // Poles have no tangent of their own; borrow one from just beside them.
            const double vn = std::clamp(v, 2e-3, 1 - 2e-3);
            const Vec3 du = shape(u + kDelta, vn) - shape(u - kDelta, vn);
            const Vec3 dv = shape(u, vn + kDelta) - shape(u, vn - kDelta);
            const Vec3 local = shape(u, v);
            const Vec3 normal = place.direction(normalized(cross(du, dv)));
            const Vec3 position = place.point(local);
            vertices_.push_back(
                {position, normal, texture ? texture(u, v) : local, position + normal * 0.006});
        }
    }
    stitch(first, stepsU, stepsV, finish);
}

void Mesh::addTurned(const std::vector<std::array<double, 2>>& profile, int segments,
                     const Finish& finish, const Placement& place) {
    const auto last = static_cast<double>(profile.size() - 1);
    const auto shape = [&](double u, double v) {
        const double t = std::clamp(v, 0.0, 1.0) * last;
        const auto i = std::min(static_cast<std::size_t>(t), profile.size() - 2);
        const double f = t - static_cast<double>(i);
        // A Catmull-Rom curve through the profile keeps the outline free of corners.
        const auto& p0 = profile[i == 0 ? 0 : i - 1];
        const auto& p1 = profile[i];
        const auto& p2 = profile[i + 1];
        const auto& p3 = profile[std::min(i + 2, profile.size() - 1)];
        const auto curve = [f](double a, double b, double c, double d) {
            return b +
                   0.5 * f * (c - a + f * (2 * a - 5 * b + 4 * c - d + f * (3 * (b - c) + d - a)));
        };
        const double r = curve(p0[0], p1[0], p2[0], p3[0]);
        const double angle = -u * 2 * kPi;
        return Vec3{r * std::cos(angle), curve(p0[1], p1[1], p2[1], p3[1]), r * std::sin(angle)};
    };
    const auto rings = static_cast<int>(profile.size() - 1) * 4;
    addSurface(segments, rings, shape, finish, place);
}

void Mesh::addEllipsoid(const Vec3& centre, const Vec3& radii, const Finish& finish, int segments) {
    const auto shape = [&](double u, double v) {
        const double angle = -u * 2 * kPi;
        const double height = (v - 0.5) * kPi;
        return Vec3{std::cos(height) * std::cos(angle), std::sin(height),
                    std::cos(height) * std::sin(angle)} *
               radii;
    };
    addSurface(segments, segments / 2, shape, finish, {centre, 0, 0});
}

void Mesh::addCushion(const Vec3& centre, const Vec3& radii, double hardness, const Finish& finish,
                      const Placement& place) {
    const auto shape = [&](double u, double v) {
        const double angle = -u * 2 * kPi;
        const double height = (v - 0.5) * kPi;
        const double ring = signedPower(std::cos(height), hardness);
        return centre + Vec3{ring * signedPower(std::cos(angle), hardness),
                             signedPower(std::sin(height), hardness),
                             ring * signedPower(std::sin(angle), hardness)} *
                            radii;
    };
    addSurface(48, 28, shape, finish, place);
}

void Mesh::addTriangle(const Vec3& a, const Vec3& b, const Vec3& c, const Finish& finish) {
    const auto first = static_cast<std::uint32_t>(vertices_.size());
    const Vec3 normal = normalized(cross(b - a, c - a));
    for (const Vec3& p : {a, b, c}) {
        vertices_.push_back({p, normal, p, p + normal * kLift});
    }
    triangles_.push_back({{first, first + 1, first + 2}, finish.material, finish.seed});
}

}  // namespace lumaweave
