// SPDX-License-Identifier: GPL-3.0-or-later
#include "align/AlignmentRun.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "align/AlignCommand.h"
#include "imaging/decoding/ImageDecoder.h"
#include "imaging/metadata/FocalLength.h"
#include "platform/Log.h"
#include "platform/ShellQuoting.h"
#include "platform/Threads.h"
#include "platform/WorkingFolder.h"
#include "sources/SourceCellViewController.h"
#include "sources/WorkingCopies.h"
#include "stack/SharedState.h"
#include "stack/Shot.h"
#include "stack/Turns.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

struct Input {
    Shot* shot;
    Shot::Holding held;
};

// Tells one writing of a file from another.
struct Writing {
    ino_t inode;
    off_t size;
    std::int64_t seconds;
    std::int64_t nanoseconds;
    bool operator==(const Writing&) const = default;
};

std::optional<Writing> writingOf(const fs::path& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) return std::nullopt;
    return Writing{status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

void removeFile(const fs::path& file) {
    std::error_code error;
    fs::remove(file, error);
}

}  // namespace

struct AlignmentRun::State {
    [[nodiscard]] bool isInput(const fs::path& file) const {
        return std::any_of(inputs.begin(), inputs.end(),
                           [&file](const Input& input) { return input.held.imageFile == file; });
    }
    void tellFieldOfView() const;
    [[nodiscard]] Image load(const fs::path& file, int n);

    std::vector<Input> inputs;
    std::vector<std::optional<Writing>> before;  // of each aligned file, as the tool started
    bool workingFolderFailed = false;
};

AlignmentRun::AlignmentRun() : state_(std::make_unique<State>()) {
    for (Shot* shot : shots()) {
        auto held = shot->holding();
        if (!held.imageFile.empty()) state_->inputs.push_back({shot, std::move(held)});
    }
}

AlignmentRun::~AlignmentRun() = default;

int AlignmentRun::shotCount() const {
    return static_cast<int>(state_->inputs.size());
}

bool AlignmentRun::workingFolderFailed() const {
    return state_->workingFolderFailed;
}

bool AlignmentRun::appendInputs(std::string& command) const {
    for (const Input& input : state_->inputs) {
        if (!canBeQuoted(input.held.imageFile)) return false;
        command += ' ';
        appendQuotedPath(command, input.held.imageFile);
    }
    return command.size() <= longestCommandLine;
}

void AlignmentRun::prepare() {
    for (int n = 0; n < sourceCellCount; ++n) {
        const fs::path file = alignedImageFile(n);
        if (!state_->isInput(file)) removeFile(file);
        state_->before.push_back(writingOf(file));
    }
    state_->tellFieldOfView();
}

// The working copies do not name their lens; the files that they were made from do. One bracket has
// one lens.
void AlignmentRun::State::tellFieldOfView() const {
    removeFile(alignedFieldOfViewFile());
    const bool fisheye = currentAlignSettings().assumeFullFrameFisheye;
    for (const Input& input : inputs) {
        const Image& image = input.held.image;
        const auto focalLength = focalLengthIn35mm(input.shot->originalFile());
        const auto angle = horizontalFieldOfView(focalLength.value_or(0),
                                                 {image.pixelsWide(), image.pixelsHigh()}, fisheye);
        if (!angle) continue;
        std::array<char, 32> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), *angle,
                                       std::chars_format::fixed, 3);
        std::ofstream(alignedFieldOfViewFile())
            << std::string_view(digits.data(), static_cast<std::size_t>(end.ptr - digits.data()))
            << '\n';
        return;
    }
}

// Uses an unlinked scratch file: the tool's own is compressed, cannot be mapped, and the next
// alignment writes into it.
Image AlignmentRun::State::load(const fs::path& file, int n) {
    const auto written = writingOf(file);
    if (!written || written == before.at(static_cast<std::size_t>(n))) {
        logLine("The alignment tool did not write " + file.native());
        return {};
    }
    const fs::path scratch = newScratchPath(".tif");
    DecodedFile decoded = decodeToTiff(file, scratch);
    removeFile(scratch);
    workingFolderFailed = decoded.failure == DecodeFailure::workingFolder;
    return decoded.image;
}

bool AlignmentRun::reassign(const std::function<void(int)>& nowLoading) {
    // No preview may find some cells aligned and others not.
    const PreviewTurn turn;
    int number = 0;
    for (auto& [shot, held] : state_->inputs) {
        nowLoading(++number);
        const fs::path file = alignedImageFile(shot->number());
        logLine(file.filename().native());
        if (!shot->replaceImageFile(held, file)) continue;
        logLine("Loading aligned .tif file...");
        Image image = state_->load(file, shot->number());
        if (image.isNull()) return false;
        image.setSize({gImageWidth, gImageHeight});
        if (!shot->replaceImage(held, image)) continue;
        makeScaledCopy(*shot);
        performOnMainThread(
            [number = static_cast<std::size_t>(shot->number())] {
                SourceCellViewController& cell = *gSourceCells.at(number);
                // It may have been emptied a moment ago.
                if (!cell.theImage().isNull()) cell.updateViewWithImageOnMainThread();
            },
            Wait::yes);
    }
    return true;
}

}  // namespace lumaweave
