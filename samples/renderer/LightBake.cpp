// SPDX-License-Identifier: GPL-3.0-or-later
#include "LightBake.h"

#include <array>
#include <map>

#include "Noise.h"
#include "Parallel.h"
#include "Sky.h"

namespace lumaweave {

namespace {

constexpr int kBounces = 2;
constexpr std::uint32_t kNone = 0xffffffffu;
constexpr double kSunRadius = 0.0065;

/// Sums light and the weighted mean of where it comes from.
struct Gathered {
    Vec3 irradiance;
    Vec3 weightedDirection;
    double weight = 0;

    void add(const Vec3& light, const Vec3& direction) {
        irradiance += light;
        const double w = luminance(light);
        weightedDirection += direction * w;
        weight += w;
    }
};

bool insideWindow(const Vec3& p) {
    return p.x > kWindowLeft && p.x < kWindowRight && p.y > kWindowSill && p.y < kWindowTop;
}

using Neighbourhood = std::array<int, 7>;

/// Finely meshed things need no probe per vertex: those of one object that are close together
/// and face alike share one.
Neighbourhood neighbourhoodOf(const Vertex& v, std::uint32_t seed) {
    constexpr double kCell = 0.04;
    const auto cell = [](double x) { return static_cast<int>(std::floor(x / kCell)); };
    const auto facing = [](double n) { return static_cast<int>(std::lround(n * 2)); };
    return {cell(v.probe.x),    cell(v.probe.y),    cell(v.probe.z),       facing(v.normal.x),
            facing(v.normal.y), facing(v.normal.z), static_cast<int>(seed)};
}

/// A small piece of sunlit surface that lights the room.
struct SunSpot {
    Vec3 position;
    Vec3 normal;
    Vec3 power;  ///< radiance times area
};

class Baker {
  public:
    Baker(const Scene& scene, const BakeQuality& quality, int threads);
    std::vector<Probe> run();

  private:
    template <typename Work>
    void forEachVertex(const Work& work) const;
    Surface surfaceAt(const Hit& hit) const;
    void findSunSpots();
    Gathered windowLight(std::uint32_t vertex) const;
    void addSunSpots(std::uint32_t vertex, Gathered& sum) const;
    Gathered bouncedLight(std::uint32_t vertex, const std::vector<Vec3>& known) const;
    Vec3 radianceFrom(const Hit& hit, const std::vector<Vec3>& known) const;
    void spread(std::vector<Gathered>& field) const;
    void smooth(std::vector<Gathered>& field) const;

    const Scene& scene_;
    BakeQuality quality_;
    int threads_;
    std::vector<std::uint32_t> gathering_;  ///< vertices that light is gathered for
    std::vector<std::uint32_t> stand_;      ///< for each vertex, whose light it takes
    std::vector<SunSpot> sunSpots_;
};

Baker::Baker(const Scene& scene, const BakeQuality& quality, int threads)
    : scene_(scene), quality_(quality), threads_(threads) {
    const auto& vertices = scene_.mesh.vertices();
    stand_.assign(vertices.size(), kNone);
    std::map<Neighbourhood, std::uint32_t> stands;
    for (const Triangle& t : scene_.mesh.triangles()) {
        if (isOutdoors(t.material)) {
            continue;
        }
        for (const std::uint32_t c : t.corners) {
            if (stand_[c] != kNone) {
                continue;
            }
            const auto [found, isNew] = stands.try_emplace(neighbourhoodOf(vertices[c], t.seed), c);
            stand_[c] = found->second;
            if (isNew) {
                gathering_.push_back(c);
            }
        }
    }
    findSunSpots();
}

template <typename Work>
void Baker::forEachVertex(const Work& work) const {
    constexpr int kChunk = 64;
    const auto count = static_cast<int>(gathering_.size());
    forEachIndex((count + kChunk - 1) / kChunk, threads_, [&](int chunk) {
        const int end = std::min(count, (chunk + 1) * kChunk);
        for (int i = chunk * kChunk; i < end; ++i) {
            work(gathering_[static_cast<std::size_t>(i)]);
        }
    });
}

Gathered Baker::windowLight(std::uint32_t vertex) const {
    const Vertex& at = scene_.mesh.vertices()[vertex];
    const int n = quality_.windowSide;
    const double width = kWindowRight - kWindowLeft;
    const double height = kWindowTop - kWindowSill;
    const double share = paneTransmission() * width * height / (n * n);
    Gathered sum;
    RandomStream random(vertex * 2u + 1u);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const Vec3 target{kWindowLeft + width * (i + random.next()) / n,
                              kWindowSill + height * (j + random.next()) / n, kWindowPlane};
            const Vec3 offset = target - at.probe;
            const double distance = length(offset);
            const Vec3 direction = offset / distance;
            const double facing = dot(direction, at.normal);
            if (facing <= 0 || direction.z <= 0 ||
                scene_.bvh.occluded({at.probe, direction}, distance)) {
                continue;
            }
            const double form = facing * direction.z / std::max(0.02, distance * distance);
            sum.add(outdoorGlow(direction) * (form * share), direction);
        }
    }
    return sum;
}

Surface Baker::surfaceAt(const Hit& hit) const {
    const Triangle& t = scene_.mesh.triangles()[hit.triangle];
    const auto& vertices = scene_.mesh.vertices();
    const Vec3 texture = vertices[t.corners[0]].texture * (1 - hit.u - hit.v) +
                         vertices[t.corners[1]].texture * hit.u +
                         vertices[t.corners[2]].texture * hit.v;
    return surfaceOf(t.material, {texture, t.seed, 0.15});
}

/// Follows the sun in through the window, onto whatever it falls on first.
void Baker::findSunSpots() {
    constexpr int kAcross = 10;
    constexpr int kUp = 7;
    const Vec3 sun = sunDirection();
    const double width = kWindowRight - kWindowLeft;
    const double height = kWindowTop - kWindowSill;
    const Vec3 flux =
        sunIrradiance() * (paneTransmission() * sun.z * width * height / (kAcross * kUp));
    for (int k = 0; k < kAcross * kUp; ++k) {
        const double x = kWindowLeft + width * (k % kAcross + 0.5) / kAcross;
        const double y = kWindowSill + height * (static_cast<double>(k / kAcross) + 0.5) / kUp;
        const Ray ray{{x, y, kWindowPlane - 0.001}, -sun};
        Hit hit;
        if (!scene_.bvh.nearest(ray, hit)) {
            continue;
        }
        const Triangle& t = scene_.mesh.triangles()[hit.triangle];
        Vec3 normal = scene_.mesh.vertices()[t.corners[0]].normal;
        normal = dot(normal, sun) < 0 ? -normal : normal;
        sunSpots_.push_back(
            {ray.at(hit.distance) + normal * 0.004, normal, surfaceAt(hit).albedo * flux / kPi});
    }
}

void Baker::addSunSpots(std::uint32_t vertex, Gathered& sum) const {
    const Vertex& at = scene_.mesh.vertices()[vertex];
    for (const SunSpot& spot : sunSpots_) {
        const Vec3 offset = spot.position - at.probe;
        const double distance = length(offset);
        const Vec3 direction = offset / std::max(distance, 1e-6);
        const double form = dot(direction, at.normal) * -dot(direction, spot.normal);
        if (dot(direction, at.normal) > 0 && form > 0 &&
            !scene_.bvh.occluded({at.probe, direction}, distance - 0.003)) {
            // Spots stand for patches, so very near ones must not glare.
            sum.add(spot.power * (form / std::max(0.06, distance * distance)), direction);
        }
    }
}

Vec3 Baker::radianceFrom(const Hit& hit, const std::vector<Vec3>& known) const {
    const Triangle& t = scene_.mesh.triangles()[hit.triangle];
    if (isOutdoors(t.material)) {
        return {};
    }
    const auto& c = t.corners;
    const Vec3 light =
        known[c[0]] * (1 - hit.u - hit.v) + known[c[1]] * hit.u + known[c[2]] * hit.v;
    return surfaceAt(hit).albedo * light / kPi;
}

Gathered Baker::bouncedLight(std::uint32_t vertex, const std::vector<Vec3>& known) const {
    const Vertex& at = scene_.mesh.vertices()[vertex];
    const Tangents tangents = tangentsOf(at.normal);
    const int n = quality_.hemisphereSide;
    Gathered sum;
    RandomStream random(vertex * 2u + 0x40000001u);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const double radius = std::sqrt((i + random.next()) / n);
            const double angle = 2 * kPi * (j + random.next()) / n;
            const Vec3 direction = tangents.first * (radius * std::cos(angle)) +
                                   tangents.second * (radius * std::sin(angle)) +
                                   at.normal * std::sqrt(std::max(0.0, 1 - radius * radius));
            const Ray ray{at.probe, direction};
            Hit hit;
            if (scene_.bvh.nearest(ray, hit)) {
                sum.add(radianceFrom(hit, known) * (kPi / (n * n)), direction);
            }
        }
    }
    return sum;
}

/// Hands each gathered light on to the vertices that share it.
void Baker::spread(std::vector<Gathered>& field) const {
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (stand_[i] != kNone) {
            field[i] = field[stand_[i]];
        }
    }
}

/// Averages neighbours, to take the grain out of sparsely sampled bounces.
void Baker::smooth(std::vector<Gathered>& field) const {
    std::vector<Gathered> sum = field;
    std::vector<double> count(field.size(), 1.0);
    for (const Triangle& t : scene_.mesh.triangles()) {
        for (std::size_t k = 0; k < 3; ++k) {
            const std::uint32_t to = t.corners[k];
            for (const std::uint32_t from : {t.corners[(k + 1) % 3], t.corners[(k + 2) % 3]}) {
                sum[to].irradiance += field[from].irradiance;
                sum[to].weightedDirection += field[from].weightedDirection;
                sum[to].weight += field[from].weight;
                count[to] += 1;
            }
        }
    }
    for (std::size_t i = 0; i < field.size(); ++i) {
        const double share = 1 / count[i];
        field[i] = {sum[i].irradiance * share, sum[i].weightedDirection * share,
                    sum[i].weight * share};
    }
}

std::vector<Probe> Baker::run() {
    const std::size_t size = scene_.mesh.vertices().size();
    std::vector<Gathered> direct(size);
    std::vector<Gathered> bounced(size);
    forEachVertex([&](std::uint32_t v) {
        direct[v] = windowLight(v);
        addSunSpots(v, direct[v]);
    });
    spread(direct);
    smooth(direct);
    std::vector<Vec3> known(size);
    for (int bounce = 0; bounce < kBounces; ++bounce) {
        for (std::size_t i = 0; i < size; ++i) {
            known[i] = direct[i].irradiance + bounced[i].irradiance;
        }
        forEachVertex([&](std::uint32_t v) { bounced[v] = bouncedLight(v, known); });
        spread(bounced);
        smooth(bounced);
        smooth(bounced);
    }
    std::vector<Probe> probes(size);
    for (std::size_t i = 0; i < size; ++i) {
        const double weight = direct[i].weight + bounced[i].weight;
        const Vec3 direction = direct[i].weightedDirection + bounced[i].weightedDirection;
        probes[i] = {direct[i].irradiance + bounced[i].irradiance,
                     weight > 0 ? direction / weight : scene_.mesh.vertices()[i].normal};
    }
    return probes;
}

}  // namespace

double paneTransmission() {
    return 0.23;
}

double sunThroughWindow(const Scene& scene, const Vec3& point, const Vec3& normal, double jitterU,
                        double jitterV) {
    const Vec3 centre = sunDirection();
    if (dot(normal, centre) <= 0 || point.z >= kWindowPlane) {
        return 0;
    }
    const Tangents t = tangentsOf(centre);
    const double radius = kSunRadius * std::sqrt(jitterU);
    const double angle = 2 * kPi * jitterV;
    const Vec3 direction = normalized(centre + t.first * (radius * std::cos(angle)) +
                                      t.second * (radius * std::sin(angle)));
    const double distance = (kWindowPlane - point.z) / direction.z;
    const Ray ray{point + normal * 0.002, direction};
    if (!insideWindow(ray.at(distance)) || scene.bvh.occluded(ray, distance)) {
        return 0;
    }
    return paneTransmission();
}

std::vector<Probe> bakeLight(const Scene& scene, const BakeQuality& quality, int threads) {
    return Baker(scene, quality, threads).run();
}

}  // namespace lumaweave
