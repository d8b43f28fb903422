// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QSize>
#include <filesystem>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "imaging/picture/Image.h"

namespace lumaweave {

// What one cell of the stack holds: the files of one photograph and its pixels. Free (empty)
// exactly when it has no image file. Any thread; each call is one step under the shot's own lock.
class Shot {
  public:
    struct Content {
        bool enabled = false;                // takes part in fusions
        std::filesystem::path originalFile;  // the one that the user added
        std::filesystem::path imageFile;     // full size, as the tools read it
        std::filesystem::path scaledFile;    // fitted to the preview
        std::filesystem::path detailFile;    // the 1:1 crop around the detail point
        Image image;                         // full size
        QImage thumbnail;                    // in the colours of the screen
        QSize scaledSize;                    // of the scaled file, pixels; empty without one
        std::string fileName;                // of the original file
    };

    Shot() = default;
    Shot(const Shot&) = delete;
    Shot& operator=(const Shot&) = delete;

    // The cell's index, 0 to 15. Set once, before any thread.
    [[nodiscard]] int number() const { return number_; }
    void setNumber(int number) { number_ = number; }

    // A snapshot of all.
    [[nodiscard]] Content content() const;
    [[nodiscard]] Image image() const { return get(&Content::image); }
    [[nodiscard]] bool isEmpty() const { return imageFile().empty(); }
    [[nodiscard]] bool isEnabled() const { return get(&Content::enabled); }
    [[nodiscard]] std::filesystem::path originalFile() const { return get(&Content::originalFile); }
    [[nodiscard]] std::filesystem::path imageFile() const { return get(&Content::imageFile); }
    [[nodiscard]] std::filesystem::path scaledFile() const { return get(&Content::scaledFile); }
    [[nodiscard]] std::filesystem::path detailFile() const { return get(&Content::detailFile); }
    [[nodiscard]] std::string fileName() const { return get(&Content::fileName); }

    void setEnabled(bool enabled) { set(&Content::enabled, enabled); }
    void setOriginalFile(const std::filesystem::path& file) { set(&Content::originalFile, file); }
    void setImageFile(const std::filesystem::path& file) { set(&Content::imageFile, file); }
    void setScaledFile(const std::filesystem::path& file) { set(&Content::scaledFile, file); }
    void setDetailFile(const std::filesystem::path& file) { set(&Content::detailFile, file); }
    void setImage(const Image& image) { set(&Content::image, image); }
    void setThumbnail(const QImage& thumbnail) { set(&Content::thumbnail, thumbnail); }

    // Takes in a photograph that has no working copy and no scaled file yet.
    void fill(const std::filesystem::path& file, const Image& image, const QImage& thumbnail);
    // Forgets the files and the pixels, and returns the image; null when there was none.
    Image clear();
    // Notes this image's scaled file; does nothing when the shot holds another by now.
    void noteScaledFile(const Image& of, const std::filesystem::path& file, QSize size);

    // The file and the image of one moment, for a task that replaces them later, unless the cell
    // has been emptied or filled anew meanwhile.
    struct Holding {
        std::filesystem::path imageFile;
        Image image;
    };
    [[nodiscard]] Holding holding() const;
    // Replaces the held file, or the held image, in the shot and in `held`. False when the shot
    // holds something else.
    [[nodiscard]] bool replaceImageFile(Holding& held, const std::filesystem::path& file);
    [[nodiscard]] bool replaceImage(Holding& held, const Image& image);

  private:
    template <typename Value>
    [[nodiscard]] Value get(Value Content::*field) const {
        const std::lock_guard lock(mutex_);
        return content_.*field;
    }
    template <typename Value>
    void set(Value Content::*field, const Value& value) {
        const std::lock_guard lock(mutex_);
        content_.*field = value;
    }
    [[nodiscard]] bool stillHolds(const Holding& held) const;

    int number_ = 0;
    mutable std::mutex mutex_;
    Content content_;
};

// The shots of all cells, in cell order, which is the order of every fusion; none before the cells
// are made. Any thread.
[[nodiscard]] std::span<Shot* const> shots();

// The cells own their shots; their window sets them (none: when they go). Main thread, while no
// other runs.
void setShots(std::vector<Shot*> all);

}  // namespace lumaweave
