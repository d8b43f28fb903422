// SPDX-License-Identifier: GPL-3.0-or-later
#include <QApplication>
#include <QEventLoop>
#include <QPointer>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

#include "Jobs.h"
#include "Processes.h"
#include "Statistics.h"
#include "imaging/picture/PixelData.h"
#include "imaging/tiff/TiffFile.h"
#include "imaging/tiff/TiffWriter.h"
#include "panorama/MyOpenGLView.h"
#include "panorama/Sections.h"
#include "panorama/VRWindow.h"

namespace lumaweave::bench {

namespace fs = std::filesystem;

namespace {

constexpr int panoramaWidth = 16384;
constexpr int panoramaHeight = 8192;
constexpr double inMilliseconds = 1000;
constexpr double inGigabytes = 1e-9;

// A picture of full size as the program holds one: a map of a file that it wrote.
Image makePanorama(const fs::path& file) {
    PixelBuffer buffer(panoramaWidth, panoramaHeight, {});
    for (int y = 0; y < panoramaHeight; ++y) {
        auto* to = buffer.row<unsigned char>(y);
        for (int x = 0; x < panoramaWidth; ++x) {
            *to++ = static_cast<unsigned char>(x * y >> 12);
            *to++ = static_cast<unsigned char>((x + y) >> 3);
            *to++ = static_cast<unsigned char>(x >> 4 ^ y >> 4);
        }
    }
    if (!writeTiff(std::move(buffer).finish(), file, Write::plain)) {
        throw std::runtime_error("the panorama could not be written");
    }
    const auto mapped = mapTiff(file);
    if (!mapped) throw std::runtime_error("the panorama could not be read back");
    return *mapped;
}

// Runs the event loop until the view has shown another frame.
void waitForFrame(MyOpenGLView& view) {
    QEventLoop loop;
    QObject::connect(&view, &QOpenGLWidget::frameSwapped, &loop, &QEventLoop::quit);
    loop.exec();
}

VRWindow* open(const Image& panorama) {
    VRWindow* window = VRWindow::initWithImage(panorama);
    if (window == nullptr) throw std::runtime_error("the panorama did not open");
    waitForFrame(*window->theGLView());
    return window;
}

void close(const QPointer<VRWindow>& window) {
    window->close();
    while (!window.isNull())
        QApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
}

// The mean time of a frame while the mouse drags.
double timeDrag(MyOpenGLView& view) {
    constexpr int frames = 40;
    const Stopwatch watch;
    for (int i = 0; i < frames; ++i) {
        view.mouseDragged(9, i < frames / 2 ? 4 : -4);
        waitForFrame(view);
    }
    return watch.seconds() / frames;
}

// Cuts out all sections, or copies their rows as they are; the bytes a second.
double copyRate(const std::uint32_t* pixels, std::uint32_t* section, bool convert) {
    const SectionSize size = sectionSizeOf(panoramaWidth, panoramaHeight);
    const auto rowBytes = static_cast<std::size_t>(size.width) * sizeof *pixels;
    const Stopwatch watch;
    for (int k = 0; k < sectionCount; ++k) {
        const int row = k / sectionColumns;
        const int column = k % sectionColumns;
        if (convert) {
            copySection(pixels, panoramaWidth, size, row, column, section);
            continue;
        }
        for (int y = 0; y < size.height; ++y) {
            std::memcpy(section + std::ptrdiff_t{size.width} * y,
                        pixels + std::ptrdiff_t{panoramaWidth} * (row * size.height + y) +
                            column * size.width,
                        rowBytes);
        }
    }
    const double bytes = static_cast<double>(rowBytes) * size.height * sectionCount;
    return bytes / watch.seconds();
}

Row measureCopy(int rounds) {
    const SectionSize size = sectionSizeOf(panoramaWidth, panoramaHeight);
    const std::unique_ptr<std::uint32_t[]> pixels(
        new std::uint32_t[std::size_t{panoramaWidth} * panoramaHeight]());
    const std::unique_ptr<std::uint32_t[]> section(
        new std::uint32_t[static_cast<std::size_t>(size.width * size.height)]());
    std::memset(pixels.get(), 0x5A, std::size_t{4} * panoramaWidth * panoramaHeight);
    std::vector<double> ours;
    std::vector<double> reference;
    for (int round = 0; round <= rounds; ++round) {
        const double converted = copyRate(pixels.get(), section.get(), true);
        const double plain = copyRate(pixels.get(), section.get(), false);
        if (round == 0) continue;
        ours.push_back(converted);
        reference.push_back(plain);
    }
    return {"panorama, section copy", summary(ours, inGigabytes, 2, "GB/s"),
            summary(reference, inGigabytes, 2, "GB/s") + " (plain memory copy)",
            "ratio " + fixed(median(ours) / median(reference), 2), ""};
}

}  // namespace

std::vector<Row> runPanoramaJob(const Workplace& place) {
    const Image panorama = makePanorama(place.folder / "panorama.tif");
    std::vector<double> opening;
    std::vector<double> frame;
    for (int round = 0; round <= place.rounds; ++round) {
        const Stopwatch watch;
        const QPointer<VRWindow> window = open(panorama);
        const double opened = watch.seconds();
        const double drawn = timeDrag(*window->theGLView());
        close(window);
        progress("panorama, round " + std::to_string(round) + ": " + fixed(opened, 3) +
                 " s to the first frame, then " + fixed(drawn * inMilliseconds, 1) + " ms each");
        if (round == 0) continue;
        opening.push_back(opened);
        frame.push_back(drawn);
    }
    return {{"panorama 16384 x 8192, open to first frame", summary(opening, 1, 3, "s"), "", "",
             "below 2 s"},
            {"panorama 16384 x 8192, a frame of a drag", summary(frame, inMilliseconds, 1, "ms"),
             "", "", ""},
            measureCopy(place.rounds)};
}

}  // namespace lumaweave::bench
