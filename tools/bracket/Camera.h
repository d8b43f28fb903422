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

/// A pinhole camera that stands in the room.
class Camera {
  public:
    Camera(int width, int height, double fovDegrees, const Turn& turn);

    /// The ray through a point of the image, in pixels from its top left corner.
    Ray rayThrough(double x, double y) const;

    /// Size of a pixel at one metre's distance.
    double pixelSize() const { return pixelSize_; }

  private:
    Vec3 position_;
    Vec3 right_, up_, forward_;
    double halfWidth_, halfHeight_, pixelSize_;
};

}  // namespace lumaweave
