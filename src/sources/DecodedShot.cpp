// SPDX-License-Identifier: GPL-3.0-or-later
#include "sources/DecodedShot.h"

#include <algorithm>
#include <cmath>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/Threads.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;

DecodedShot::DecodedShot(DecodedShot&& other) noexcept {
    *this = std::move(other);
}

DecodedShot& DecodedShot::operator=(DecodedShot&& other) noexcept {
    std::swap(decoded_, other.decoded_);
    std::swap(scaled_, other.scaled_);
    std::swap(scratch_, other.scratch_);
    return *this;
}

DecodedShot::~DecodedShot() {
    std::error_code error;
    if (!scratch_.empty()) fs::remove(scratch_, error);
}

DecodedShot DecodedShot::decode(const fs::path& path, QSize previewSize) {
    DecodedShot shot;
    shot.scratch_ = newScratchPath(".tif");
    shot.decoded_ = decodeToTiff(path, shot.scratch_);
    if (shot.decoded_.image.isNull()) return shot;
    const Image& image = shot.decoded_.image;
    const QSize size = fittedPixels(image.size(), previewSize);
    shot.scaled_ = image.scaled(size.width(), size.height());
    return shot;
}

bool DecodedShot::takeScratchFile(const fs::path& name) {
    std::error_code error;
    fs::rename(scratch_, name, error);
    if (error) return false;
    scratch_.clear();
    return true;
}

QSizeF fittedToPreview(QSizeF picture, QSizeF view) {
    if (picture.width() > picture.height()) {
        return {view.width(), picture.height() / picture.width() * view.width()};
    }
    return {picture.width() / picture.height() * view.height(), view.height()};
}

QSize fittedPixels(QSizeF picture, QSizeF view) {
    const QSizeF fitted = fittedToPreview(picture, view);
    return {std::max(1, static_cast<int>(std::lround(fitted.width()))),
            std::max(1, static_cast<int>(std::lround(fitted.height())))};
}

QImage thumbnailOf(const Image& scaled) {
    constexpr int thumbnailSide = 256;  // room for a screen with two pixels a point
    const double scale =
        static_cast<double>(thumbnailSide) / std::max(scaled.pixelsWide(), scaled.pixelsHigh());
    if (scale >= 1) return scaled.toScreen();
    return scaled
        .scaled(static_cast<int>(std::lround(scaled.pixelsWide() * scale)),
                static_cast<int>(std::lround(scaled.pixelsHigh() * scale)))
        .toScreen();
}

DecodeAhead::DecodeAhead(std::vector<fs::path> paths, QSize previewSize)
    : paths_(std::move(paths)),
      previewSize_(previewSize),
      workerCount_(std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, 8)),
      shots_(paths_.size()),
      ready_(paths_.size(), false),
      runningWorkers_(std::min(workerCount_, static_cast<int>(paths_.size()))) {
    const int workers = runningWorkers_;
    for (int i = 0; i < workers; ++i)
        performInBackground([this] { work(); });
}

DecodeAhead::~DecodeAhead() {
    std::unique_lock lock(mutex_);
    stopping_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return runningWorkers_ == 0; });
}

void DecodeAhead::work() {
    // One decoded shot waits while each worker makes another: no worker idles, and no more scratch
    // files lie about than twice the workers.
    const auto mostAhead = static_cast<std::size_t>(2 * workerCount_);
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [&] { return stopping_ || nextToDecode_ < taken_ + mostAhead; });
        if (stopping_ || nextToDecode_ >= paths_.size()) break;
        const std::size_t index = nextToDecode_++;
        lock.unlock();
        DecodedShot shot = DecodedShot::decode(paths_[index], previewSize_);
        lock.lock();
        shots_[index] = std::move(shot);
        ready_[index] = true;
        changed_.notify_all();
    }
    --runningWorkers_;
    changed_.notify_all();
}

DecodedShot DecodeAhead::take(std::size_t index) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return ready_[index]; });
    taken_ = index + 1;
    changed_.notify_all();
    return std::move(shots_[index]);
}

}  // namespace lumaweave
