// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QSize>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <vector>

#include "imaging/decoding/ImageDecoder.h"

namespace lumaweave {

// A dropped file on its way into a cell: decoded into a scratch TIFF of the working folder (which
// becomes the cell's working copy, or is unlinked), with what the views need of it. Movable; its
// end removes the scratch file unless takeScratchFile took it.
class DecodedShot {
  public:
    DecodedShot() = default;
    DecodedShot(DecodedShot&& other) noexcept;
    DecodedShot& operator=(DecodedShot&& other) noexcept;
    DecodedShot(const DecodedShot&) = delete;
    DecodedShot& operator=(const DecodedShot&) = delete;
    ~DecodedShot();

    // Decodes in the calling thread. previewSize: the view that the scaled copy is to fit.
    [[nodiscard]] static DecodedShot decode(const std::filesystem::path& path, QSize previewSize);

    [[nodiscard]] const Image& image() const { return decoded_.image; }
    [[nodiscard]] DecodeFailure failure() const { return decoded_.failure; }
    [[nodiscard]] const Image& scaled() const { return scaled_; }

    // Gives the scratch TIFF this name, in the place of whatever has it. False when that failed.
    bool takeScratchFile(const std::filesystem::path& name);

  private:
    DecodedFile decoded_;
    Image scaled_;
    std::filesystem::path scratch_;
};

// A picture's size (points) fitted to the view: landscape pictures take the view's width, portrait
// and square ones its height. Not rounded.
[[nodiscard]] QSizeF fittedToPreview(QSizeF picture, QSizeF view);

// The same in whole pixels, each at least 1.
[[nodiscard]] QSize fittedPixels(QSizeF picture, QSizeF view);

// A small picture for the cell, in screen colours.
[[nodiscard]] QImage thumbnailOf(const Image& scaled);

// Decodes a list of files ahead of the thread that takes them, on every core, in order and at most
// a few files ahead, so that a stack of any length needs bounded room.
class DecodeAhead {
  public:
    // Starts at once.
    DecodeAhead(std::vector<std::filesystem::path> paths, QSize previewSize);
    // Leaves files not yet begun, and waits for the running ones.
    ~DecodeAhead();
    DecodeAhead(const DecodeAhead&) = delete;
    DecodeAhead& operator=(const DecodeAhead&) = delete;

    // The shot of the given file; waits for it. Each once, in order.
    [[nodiscard]] DecodedShot take(std::size_t index);

  private:
    void work();

    const std::vector<std::filesystem::path> paths_;
    const QSize previewSize_;
    const int workerCount_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<DecodedShot> shots_;
    std::vector<bool> ready_;
    std::size_t nextToDecode_ = 0;
    std::size_t taken_ = 0;
    int runningWorkers_ = 0;
    bool stopping_ = false;
};

}  // namespace lumaweave
