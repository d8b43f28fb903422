// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Vec.h"

namespace lumaweave {

/// A turn of the camera about its own centre, in degrees.
struct Turn {
    double yaw = 0;    ///< to the right
    double pitch = 0;  ///< up
    double roll = 0;   ///< clockwise

    friend bool operator==(const Turn&, const Turn&) = default;
};

/// A camera that stands in the room: a pinhole, or one that looks all round.
class Camera {
  public:
    Camera(int width, int height, double fovDegrees, const Turn& turn);

    /// Sees every direction from the middle of the room: 360 degrees across the image, with the
    /// window at three quarters of the width, and 180 degrees from straight up to straight down.
    static Camera panorama(int width, int height);

    /// The ray through a point of the image, in pixels from its top left corner.
    Ray rayThrough(double x, double y) const;

    /// Size of a pixel at one metre's distance.
    double pixelSize() const { return pixelSize_; }

    bool isPanorama() const { return panorama_; }

  private:
    Camera() = default;

    Vec3 position_;
    Vec3 right_, up_, forward_;
    double halfWidth_ = 0;
    double halfHeight_ = 0;
    double pixelSize_ = 0;
    bool panorama_ = false;
};

}  // namespace lumaweave
