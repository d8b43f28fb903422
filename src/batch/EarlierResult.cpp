// SPDX-License-Identifier: GPL-3.0-or-later
#include "batch/EarlierResult.h"

#include <fcntl.h>
#include <unistd.h>

#include <system_error>
#include <utility>
#include <vector>

#include "imaging/decoding/ImageDecoder.h"
#include "platform/Log.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

// A folder rather than another name: the name may already be as long as names can be.
fs::path folderForEarlier(const fs::path& resultFolder) {
    return resultFolder / ".Earlier results";
}

void writeThrough(const fs::path& file) {
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return;
    fsync(descriptor);
    close(descriptor);
}

// Only when it is empty.
void removeFolder(const fs::path& folder) {
    rmdir(folder.c_str());
}

bool isFile(const fs::path& path) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(path, error);
    return fs::is_regular_file(status) || fs::is_symlink(status);
}

}  // namespace

EarlierResult::EarlierResult(fs::path result)
    : result_(std::move(result)),
      aside_(folderForEarlier(result_.parent_path()) / result_.filename()) {
    if (!isFile(result_)) return;
    std::error_code error;
    fs::create_directory(aside_.parent_path(), error);
    fs::rename(result_, aside_, error);
    kept_ = !error;
    safe_ = kept_;
    if (error) {
        logLine("The earlier result cannot be put aside: " + result_.native() + ": " +
                error.message());
    }
}

void EarlierResult::discard() {
    if (!kept_) return;
    writeThrough(result_);
    std::error_code error;
    fs::remove(aside_, error);
    removeFolder(aside_.parent_path());
}

void EarlierResult::restore() {
    std::error_code error;
    if (isFile(result_)) fs::remove(result_, error);
    if (!kept_) return;
    fs::rename(aside_, result_, error);
    if (error)
        logLine("The earlier result is still at " + aside_.native() + ": " + error.message());
    removeFolder(aside_.parent_path());
}

void EarlierResult::recover(const fs::path& resultFolder) {
    const fs::path folder = folderForEarlier(resultFolder);
    std::error_code error;
    std::vector<fs::path> left;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error))
        left.push_back(entry.path());
    for (const fs::path& earlier : left) {
        const fs::path result = resultFolder / earlier.filename();
        if (isWhollyDecodable(result)) {
            fs::remove(earlier, error);
        } else {
            logLine("An earlier result is put back: " + result.native());
            fs::rename(earlier, result, error);
        }
    }
    removeFolder(folder);
}

}  // namespace lumaweave
