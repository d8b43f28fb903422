// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace lumaweave {

inline constexpr double kPi = std::numbers::pi;

/// A point, a direction or a linear RGB value.
struct Vec3 {
    double x = 0;
    double y = 0;
    double z = 0;

    double operator[](int axis) const { return axis == 0 ? x : axis == 1 ? y : z; }
    Vec3& operator+=(const Vec3& o) {
        x += o.x;
        y += o.y;
        z += o.z;
        return *this;
    }
};

inline Vec3 operator+(const Vec3& a, const Vec3& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vec3 operator-(const Vec3& a, const Vec3& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vec3 operator-(const Vec3& a) {
    return {-a.x, -a.y, -a.z};
}
inline Vec3 operator*(const Vec3& a, const Vec3& b) {
    return {a.x * b.x, a.y * b.y, a.z * b.z};
}
inline Vec3 operator*(const Vec3& a, double s) {
    return {a.x * s, a.y * s, a.z * s};
}
inline Vec3 operator*(double s, const Vec3& a) {
    return a * s;
}
inline Vec3 operator/(const Vec3& a, double s) {
    return a * (1.0 / s);
}

inline double dot(const Vec3& a, const Vec3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vec3 cross(const Vec3& a, const Vec3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double length(const Vec3& a) {
    return std::sqrt(dot(a, a));
}
inline Vec3 normalized(const Vec3& a) {
    const double l = length(a);
    return l > 1e-12 ? a / l : Vec3{0, 1, 0};
}
inline Vec3 minimum(const Vec3& a, const Vec3& b) {
    return {std::min(a.x, b.x), std::min(a.y, b.y), std::min(a.z, b.z)};
}
inline Vec3 maximum(const Vec3& a, const Vec3& b) {
    return {std::max(a.x, b.x), std::max(a.y, b.y), std::max(a.z, b.z)};
}
inline double luminance(const Vec3& c) {
    return 0.2126 * c.x + 0.7152 * c.y + 0.0722 * c.z;
}

inline double mix(double a, double b, double t) {
    return a + (b - a) * t;
}
inline Vec3 mix(const Vec3& a, const Vec3& b, double t) {
    return a + (b - a) * t;
}
inline double saturate(double v) {
    return std::clamp(v, 0.0, 1.0);
}
inline double smoothstep(double from, double to, double v) {
    const double t = saturate((v - from) / (to - from));
    return t * t * (3 - 2 * t);
}
inline double fraction(double v) {
    return v - std::floor(v);
}

/// Two directions that span the plane square to `n`.
struct Tangents {
    Vec3 first;
    Vec3 second;
};
inline Tangents tangentsOf(const Vec3& n) {
    const Vec3 helper = std::abs(n.x) < 0.7 ? Vec3{1, 0, 0} : Vec3{0, 1, 0};
    const Vec3 first = normalized(cross(helper, n));
    return {first, cross(n, first)};
}

struct Ray {
    Vec3 origin;
    Vec3 direction;
    Vec3 at(double t) const { return origin + direction * t; }
};

}  // namespace lumaweave
