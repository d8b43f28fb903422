// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "Camera.h"
#include "LightBake.h"
#include "Scene.h"

namespace lumaweave {

/// Linear light, three floats per pixel, row by row from the top.
struct RadianceImage {
    int width = 0;
    int height = 0;
    std::vector<float> rgb;
    bool allRound = false;  ///< the right border joins the left one
};

/// Turns the scene and its baked light into pictures.
class Renderer {
  public:
    Renderer(const Scene& scene, std::vector<Probe> probes, int threads)
        : scene_(scene), probes_(std::move(probes)), threads_(threads) {}

    /// Renders with samplesPerSide x samplesPerSide rays in every pixel.
    RadianceImage render(const Camera& camera, int width, int height, int samplesPerSide) const;

  private:
    /// Everything known about the point a ray meets.
    struct Shading {
        Vec3 position;
        Vec3 normal;  ///< of the smooth surface, towards the viewer
        Vec3 bumpedNormal;
        Surface surface;
        Probe light;
        Material material = Material::Plaster;
        double footprint = 0;
    };
    /// One of a pixel's camera rays, and with it a share of points spread evenly over the unit
    /// square for all rays of the pixel.
    struct Sample {
        int index = 0;
        int total = 1;
        double shiftU = 0;
        double shiftV = 0;

        double u(int part, int parts) const {
            return (index * parts + part + shiftU) / (total * parts);
        }
        double v(int part, int parts) const {
            return fraction((index * parts + part) * 0.6180339887498949 + shiftV);
        }
    };

    Vec3 radiance(const Ray& ray, double pixelSize, const Sample& sample, int depth) const;
    Shading shadingAt(const Hit& hit, const Ray& ray, double pixelSize) const;
    Vec3 bumped(const Triangle& triangle, const TexturePoint& at, const Vec3& normal) const;
    Vec3 indoorLight(const Shading& s, const Sample& sample) const;
    Vec3 outdoorLight(const Shading& s) const;
    Vec3 mirrored(const Shading& s, const Ray& ray, double pixelSize, const Sample& sample,
                  int depth) const;
    void renderRow(const Camera& camera, int samplesPerSide, int y, RadianceImage& image) const;

    const Scene& scene_;
    std::vector<Probe> probes_;
    int threads_;
};

}  // namespace lumaweave
