// SPDX-License-Identifier: GPL-3.0-or-later

// Measures single functions on pictures of the sizes that the program meets.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <optional>

#include "Inputs.h"
#include "ScratchFolder.h"
#include "fusion/EnfuseCommand.h"
#include "imaging/decoding/ImageDecoder.h"
#include "imaging/picture/PixelData.h"
#include "settings/FusionSettings.h"

namespace lumaweave::bench {

namespace {

namespace fs = std::filesystem;

constexpr int previewWidth = 800;
constexpr int previewHeight = 533;

// The photographs, and one of them decoded; made when the first benchmark asks.
struct Material {
    ScratchFolder scratch;
    fs::path photo;
    fs::path tiff = scratch.path() / "decoded.tif";
    Image picture;

    Material() {
        makePhotos(scratch.path());
        photo = photos(scratch.path(), differentPhotos)[differentPhotos / 2];
        picture = decodeToTiff(photo, tiff).image;
    }
};

std::unique_ptr<Material>& keptMaterial() {
    static std::unique_ptr<Material> kept;
    return kept;
}

const Material& material() {
    auto& kept = keptMaterial();
    if (!kept) kept = std::make_unique<Material>();
    return *kept;
}

// The picture with samples of another type.
Image withDepth(const Image& image, SampleType type) {
    const PixelData& source = image.pixels();
    PixelFormat format = source.format;
    format.type = type;
    PixelBuffer buffer(source.width, source.height, format);
    withSampleType(type, [&]<typename Sample>() {
        for (int y = 0; y < source.height; ++y) {
            const auto* from = source.row<unsigned char>(y);
            Sample* to = buffer.row<Sample>(y);
            for (int i = 0; i < source.width * format.samples(); ++i) {
                to[i] = static_cast<Sample>(static_cast<Sample>(from[i]) * fullValue<Sample>() /
                                            static_cast<Sample>(255));
            }
        }
    });
    return std::move(buffer).finish();
}

SampleType sampleType(const benchmark::State& state) {
    switch (state.range(0)) {
        case 8:
            return SampleType::uint8;
        case 16:
            return SampleType::uint16;
        default:
            return SampleType::float32;
    }
}

void decodeJpegToTiff(benchmark::State& state) {
    const Material& given = material();
    const fs::path target = given.scratch.path() / "again.tif";
    for ([[maybe_unused]] const auto _ : state)
        benchmark::DoNotOptimize(decodeToTiff(given.photo, target));
}

void scaleToPreview(benchmark::State& state) {
    const Image picture = withDepth(material().picture, sampleType(state));
    for ([[maybe_unused]] const auto _ : state)
        benchmark::DoNotOptimize(picture.scaled(previewWidth, previewHeight));
}

// As in a load: from the map of the decoded file.
void scaleMappedToPreview(benchmark::State& state) {
    const Image& picture = material().picture;
    for ([[maybe_unused]] const auto _ : state)
        benchmark::DoNotOptimize(picture.scaled(previewWidth, previewHeight));
}

void cropDetail(benchmark::State& state) {
    const Image picture = withDepth(material().picture, sampleType(state));
    const QRectF middle(2700, 1850, 600, 300);
    for ([[maybe_unused]] const auto _ : state)
        benchmark::DoNotOptimize(picture.cropped(middle, 600, 300));
}

void showPreview(benchmark::State& state) {
    const Image preview =
        withDepth(material().picture.scaled(previewWidth, previewHeight), sampleType(state));
    for ([[maybe_unused]] const auto _ : state)
        benchmark::DoNotOptimize(preview.toScreen());
}

void writeCommand(benchmark::State& state) {
    const FusionSettings settings;
    for ([[maybe_unused]] const auto _ : state) {
        benchmark::DoNotOptimize(
            enfuseCommandText("/opt/tools/enfuse-openmp", "/var/tmp/result.tif", settings));
    }
}

BENCHMARK(decodeJpegToTiff)->Unit(benchmark::kMillisecond);
BENCHMARK(scaleToPreview)->Arg(8)->Arg(16)->Unit(benchmark::kMillisecond);
BENCHMARK(scaleMappedToPreview)->Unit(benchmark::kMillisecond);
BENCHMARK(cropDetail)->Arg(8)->Arg(16)->Unit(benchmark::kMicrosecond);
BENCHMARK(showPreview)->Arg(8)->Arg(16)->Arg(32)->Unit(benchmark::kMicrosecond);
BENCHMARK(writeCommand)->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace lumaweave::bench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    lumaweave::bench::keptMaterial().reset();
    benchmark::Shutdown();
    return 0;
}
