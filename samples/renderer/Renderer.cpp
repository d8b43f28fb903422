// SPDX-License-Identifier: GPL-3.0-or-later
#include "Renderer.h"

#include "Noise.h"
#include "Parallel.h"
#include "Sky.h"

namespace lumaweave {

namespace {

/// Brightness of a bump relative to the smooth surface, for light from `direction`.
double reliefRatio(const Vec3& bumped, const Vec3& smooth, const Vec3& direction) {
    constexpr double kSpread = 0.22;
    const double before = std::max(0.02, dot(smooth, direction)) + kSpread;
    const double after = std::max(-0.5 * kSpread, dot(bumped, direction)) + kSpread;
    return std::clamp(after / before, 0.25, 2.2);
}

/// Several rays per pixel can carry texture somewhat finer than the pixel.
constexpr double kDetail = 0.55;

/// Rays for a blurred reflection, per camera ray.
constexpr int kRoughSamples = 6;

double fresnel(double base, double cosine) {
    const double m = 1 - saturate(cosine);
    return base + (1 - base) * m * m * m * m * m;
}

/// The slight blur of a real lens and sensor.
RadianceImage softened(const RadianceImage& image, int threads) {
    constexpr float kSide = 0.13F;
    RadianceImage out{image.width, image.height, {}, image.allRound};
    out.rgb.resize(image.rgb.size());
    const auto stride = 3 * static_cast<std::size_t>(image.width);
    std::vector<float> across(image.rgb.size());
    forEachIndex(image.height, threads, [&](int y) {
        const float* in = image.rgb.data() + static_cast<std::size_t>(y) * stride;
        float* to = across.data() + static_cast<std::size_t>(y) * stride;
        for (std::size_t i = 0; i < stride; ++i) {
            const std::size_t beforeFirst = image.allRound ? i + stride - 3 : i;
            const std::size_t afterLast = image.allRound ? i + 3 - stride : i;
            const float before = in[i < 3 ? beforeFirst : i - 3];
            const float after = in[i + 3 < stride ? i + 3 : afterLast];
            to[i] = in[i] + kSide * (before - 2 * in[i] + after);
        }
    });
    forEachIndex(image.height, threads, [&](int y) {
        const auto row = [&](int r) {
            return across.data() +
                   static_cast<std::size_t>(std::clamp(r, 0, image.height - 1)) * stride;
        };
        float* to = out.rgb.data() + static_cast<std::size_t>(y) * stride;
        for (std::size_t i = 0; i < stride; ++i) {
            const float here = row(y)[i];
            to[i] = here + kSide * (row(y - 1)[i] - 2 * here + row(y + 1)[i]);
        }
    });
    return out;
}

}  // namespace

Vec3 Renderer::bumped(const Triangle& triangle, const TexturePoint& at, const Vec3& normal) const {
    const auto& vertices = scene_.mesh.vertices();
    const Vertex& a = vertices[triangle.corners[0]];
    const Vertex& b = vertices[triangle.corners[1]];
    const Vertex& c = vertices[triangle.corners[2]];
    // How texture coordinates change along two tangents of the triangle's plane.
    const Vec3 e1 = b.position - a.position;
    const Vec3 e2 = c.position - a.position;
    const double e11 = dot(e1, e1);
    const double e12 = dot(e1, e2);
    const double e22 = dot(e2, e2);
    const double det = e11 * e22 - e12 * e12;
    if (det < 1e-18) {
        return normal;
    }
    const double step = std::max(0.0008, 0.7 * at.footprint);
    const double base = heightOf(triangle.material, at);
    const auto slope = [&](const Vec3& tangent) {
        const double t1 = dot(tangent, e1);
        const double t2 = dot(tangent, e2);
        const double along1 = (t1 * e22 - t2 * e12) / det;
        const double along2 = (t2 * e11 - t1 * e12) / det;
        TexturePoint moved = at;
        moved.p += ((b.texture - a.texture) * along1 + (c.texture - a.texture) * along2) * step;
        return std::clamp((heightOf(triangle.material, moved) - base) / step, -1.5, 1.5);
    };
    const Tangents t = tangentsOf(normal);
    return normalized(normal - t.first * slope(t.first) - t.second * slope(t.second));
}

Renderer::Shading Renderer::shadingAt(const Hit& hit, const Ray& ray, double pixelSize) const {
    const Triangle& triangle = scene_.mesh.triangles()[hit.triangle];
    const auto& vertices = scene_.mesh.vertices();
    const auto& c = triangle.corners;
    const double w = 1 - hit.u - hit.v;
    const Vertex& va = vertices[c[0]];
    const Vertex& vb = vertices[c[1]];
    const Vertex& vc = vertices[c[2]];
    Shading s;
    s.material = triangle.material;
    s.position = ray.at(hit.distance);
    s.normal = normalized(va.normal * w + vb.normal * hit.u + vc.normal * hit.v);
    const double facing = dot(s.normal, ray.direction);
    // Seen at a slant a pixel covers more of the surface; half way keeps detail along the other
    // axis.
    s.footprint = kDetail * hit.distance * pixelSize / std::sqrt(std::max(0.04, std::abs(facing)));
    const TexturePoint at{va.texture * w + vb.texture * hit.u + vc.texture * hit.v, triangle.seed,
                          s.footprint};
    s.surface = surfaceOf(triangle.material, at);
    s.bumpedNormal = hasRelief(triangle.material) ? bumped(triangle, at, s.normal) : s.normal;
    if (facing > 0) {
        s.normal = -s.normal;
        s.bumpedNormal = -s.bumpedNormal;
    }
    const Probe& pa = probes_[c[0]];
    const Probe& pb = probes_[c[1]];
    const Probe& pc = probes_[c[2]];
    s.light = {pa.irradiance * w + pb.irradiance * hit.u + pc.irradiance * hit.v,
               pa.direction * w + pb.direction * hit.u + pc.direction * hit.v};
    return s;
}

Vec3 Renderer::indoorLight(const Shading& s, const Sample& sample) const {
    const Vec3 soft = s.light.irradiance * reliefRatio(s.bumpedNormal, s.normal, s.light.direction);
    // Little varied from pixel to pixel: the shadow's soft edge would turn grainy.
    const double sunU = sample.u(0, 1);
    const double sunV = fraction(sample.v(0, 1) - 0.8 * sample.shiftV);
    const double share = sunThroughWindow(scene_, s.position, s.normal, sunU, sunV);
    Vec3 sun = sunIrradiance() * (share * std::max(0.0, dot(s.bumpedNormal, sunDirection())));
    if (s.surface.translucency > 0) {
        const double behind = sunThroughWindow(scene_, s.position, -s.normal, sunU, sunV);
        sun += sunIrradiance() *
               (s.surface.translucency * behind * std::max(0.0, -dot(s.normal, sunDirection())));
    }
    return soft + sun;
}

Vec3 Renderer::outdoorLight(const Shading& s) const {
    const double cosine = dot(s.bumpedNormal, sunDirection());
    const double through = std::max(0.0, -cosine) * s.surface.translucency;
    double lit = std::max(0.0, cosine) + through;
    if (lit > 0) {
        const Vec3 start = s.position + s.normal * (cosine > 0 ? 0.01 : -0.01);
        lit *= scene_.bvh.occluded({start, sunDirection()}, 400) ? 0.0 : 1.0;
    }
    return sunIrradiance() * lit + outdoorAmbient(s.bumpedNormal);
}

Vec3 Renderer::mirrored(const Shading& s, const Ray& ray, double pixelSize, const Sample& sample,
                        int depth) const {
    // A varnish evens out the relief below it.
    const Vec3 normal = normalized(mix(s.normal, s.bumpedNormal, 0.3));
    const double cosine = -dot(normal, ray.direction);
    const double share = fresnel(s.surface.specular, cosine) * (s.surface.specular > 0 ? 1 : 0);
    if (share < 0.012 || depth > 0) {
        return {};
    }
    const Vec3 mirror = normalized(ray.direction + normal * (2 * cosine));
    const Tangents t = tangentsOf(mirror);
    const double blur = pixelSize + s.surface.roughness;
    const int count = s.surface.roughness > 0.05 ? kRoughSamples : 1;
    Vec3 sum;
    for (int k = 0; k < count; ++k) {
        const double spread = sample.u(k, count);
        const double radius = s.surface.roughness * std::sqrt(-std::log(1 - 0.95 * spread));
        const double angle = 2 * kPi * sample.v(k, count);
        const Vec3 direction = normalized(mirror + t.first * (radius * std::cos(angle)) +
                                          t.second * (radius * std::sin(angle)));
        if (dot(direction, s.normal) > 0) {
            const Vec3 seen =
                radiance({s.position + s.normal * 0.001, direction}, blur, sample, depth + 1);
            // Bright spots are held down, so that few samples do not leave sparkles.
            sum += seen * (3.0 / std::max(3.0, luminance(seen)));
        }
    }
    return sum * (share / count);
}

Vec3 Renderer::radiance(const Ray& ray, double pixelSize, const Sample& sample, int depth) const {
    Hit hit;
    if (!scene_.bvh.nearest(ray, hit)) {
        return skyRadiance(ray.direction);
    }
    const Shading s = shadingAt(hit, ray, pixelSize);
    if (isOutdoors(s.material)) {
        const Vec3 light = outdoorLight(s);
        return withHaze(s.surface.albedo * light / kPi, hit.distance, ray.direction);
    }
    return s.surface.albedo * indoorLight(s, sample) / kPi +
           mirrored(s, ray, pixelSize, sample, depth);
}

void Renderer::renderRow(const Camera& camera, int samplesPerSide, int y,
                         RadianceImage& image) const {
    const int n = samplesPerSide;
    const double share = 1.0 / (n * n);
    for (int x = 0; x < image.width; ++x) {
        RandomStream random(hashOf(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)));
        const double shiftU = random.next();
        const double shiftV = random.next();
        Vec3 sum;
        for (int k = 0; k < n * n; ++k) {
            // The same sheared lattice in every pixel keeps edges clean.
            const int row = k / n;
            const double px = x + (k % n + (row + 0.5) / n) / n;
            const double py = y + (row + (k % n + 0.5) / n) / n;
            const Sample sample{k, n * n, shiftU, shiftV};
            sum += radiance(camera.rayThrough(px, py), camera.pixelSize(), sample, 0);
        }
        const auto at = 3 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(image.width) +
                             static_cast<std::size_t>(x));
        image.rgb[at] = static_cast<float>(sum.x * share);
        image.rgb[at + 1] = static_cast<float>(sum.y * share);
        image.rgb[at + 2] = static_cast<float>(sum.z * share);
    }
}

RadianceImage Renderer::render(const Camera& camera, int width, int height,
                               int samplesPerSide) const {
    RadianceImage image{width, height, {}, camera.isPanorama()};
    image.rgb.resize(3 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    forEachIndex(height, threads_, [&](int y) { renderRow(camera, samplesPerSide, y, image); });
    return softened(image, threads_);
}

}  // namespace lumaweave
