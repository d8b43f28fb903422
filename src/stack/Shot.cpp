// SPDX-License-Identifier: GPL-3.0-or-later
#include "stack/Shot.h"

#include <utility>

namespace lumaweave {

namespace fs = std::filesystem;

namespace {
std::vector<Shot*> allShots;
}

std::span<Shot* const> shots() {
    return allShots;
}

void setShots(std::vector<Shot*> all) {
    allShots = std::move(all);
}

Shot::Content Shot::content() const {
    const std::lock_guard lock(mutex_);
    return content_;
}

void Shot::fill(const fs::path& file, const Image& image, const QImage& thumbnail) {
    const std::lock_guard lock(mutex_);
    content_.imageFile = file;
    content_.originalFile = file;
    content_.image = image;
    content_.thumbnail = thumbnail;
    content_.scaledSize = {};
    content_.fileName = file.filename().native();
}

Image Shot::clear() {
    const std::lock_guard lock(mutex_);
    if (content_.image.isNull()) return {};
    content_.thumbnail = {};
    content_.imageFile.clear();
    content_.originalFile.clear();
    content_.scaledFile.clear();
    content_.detailFile.clear();
    return std::exchange(content_.image, {});
}

void Shot::noteScaledFile(const Image& of, const fs::path& file, QSize size) {
    const std::lock_guard lock(mutex_);
    if (!content_.image.sharesPixelsWith(of)) return;
    content_.scaledFile = file;
    content_.scaledSize = size;
}

Shot::Holding Shot::holding() const {
    const std::lock_guard lock(mutex_);
    return {content_.imageFile, content_.image};
}

// With the lock held.
bool Shot::stillHolds(const Holding& held) const {
    return content_.imageFile == held.imageFile && content_.image.sharesPixelsWith(held.image);
}

bool Shot::replaceImageFile(Holding& held, const fs::path& file) {
    const std::lock_guard lock(mutex_);
    if (!stillHolds(held)) return false;
    held.imageFile = content_.imageFile = file;
    return true;
}

bool Shot::replaceImage(Holding& held, const Image& image) {
    const std::lock_guard lock(mutex_);
    if (!stillHolds(held)) return false;
    held.image = content_.image = image;
    return true;
}

}  // namespace lumaweave
