// SPDX-License-Identifier: GPL-3.0-or-later
#include "Camera.h"

namespace lumaweave {

namespace {

const Vec3 kPosition{0.22, 1.46, -0.05};
constexpr double kBaseYaw = -2.5;
constexpr double kBasePitch = -4.0;
const Vec3 kPanoramaPosition{0.05, 1.50, 2.15};

double radians(double degrees) {
    return degrees * kPi / 180;
}

/// Directions of a camera's axes.
struct Axes {
    Vec3 right{1, 0, 0};
    Vec3 up{0, 1, 0};
    Vec3 forward{0, 0, 1};

    void turn(const Turn& by) {
        rotate(forward, right, radians(by.yaw));
        rotate(forward, up, radians(by.pitch));
        rotate(up, right, radians(by.roll));
    }

  private:
    static void rotate(Vec3& from, Vec3& to, double angle) {
        const double c = std::cos(angle);
        const double s = std::sin(angle);
        const Vec3 moved = from * c + to * s;
        to = to * c - from * s;
        from = moved;
    }
};

}  // namespace

Camera::Camera(int width, int height, double fovDegrees, const Turn& turn)
    : position_(kPosition), halfWidth_(0.5 * width), halfHeight_(0.5 * height) {
    Axes axes;
    axes.turn({kBaseYaw, kBasePitch, 0});
    axes.turn(turn);
    right_ = axes.right;
    up_ = axes.up;
    forward_ = axes.forward;
    pixelSize_ = std::tan(radians(0.5 * fovDegrees)) / halfWidth_;
}

Camera Camera::panorama(int width, int height) {
    const Axes axes;
    Camera camera;
    camera.position_ = kPanoramaPosition;
    camera.right_ = axes.right;
    camera.up_ = axes.up;
    camera.forward_ = axes.forward;
    camera.halfWidth_ = 0.5 * width;
    camera.halfHeight_ = 0.5 * height;
    camera.pixelSize_ = 2 * kPi / width;
    camera.panorama_ = true;
    return camera;
}

Ray Camera::rayThrough(double x, double y) const {
    if (panorama_) {
        const double longitude = kPi * (x / halfWidth_ - 1.5);
        const double latitude = 0.5 * kPi * (1 - y / halfHeight_);
        const Vec3 level = forward_ * std::cos(longitude) + right_ * std::sin(longitude);
        return {position_, level * std::cos(latitude) + up_ * std::sin(latitude)};
    }
    return {position_, normalized(forward_ + right_ * ((x - halfWidth_) * pixelSize_) +
                                  up_ * ((halfHeight_ - y) * pixelSize_))};
}

}  // namespace lumaweave
