// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/metadata/Metadata.h"

#include <fstream>
#include <system_error>

#include "imaging/reader/ReaderJobs.h"
#include "imaging/reader/ReaderProcess.h"
#include "platform/Log.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;

std::vector<std::byte> Metadata::asTiff(bool bigEndian, std::size_t firstByte) const {
    const std::vector<std::byte>& block = blocks_.block(bigEndian);
    if (firstByte == 0 || block.empty()) return block;
    const fs::path source = newScratchPath(".tif");
    std::ofstream file(source, std::ios::binary);
    file.write(reinterpret_cast<const char*>(block.data()),
               static_cast<std::streamsize>(block.size()));
    file.close();
    ReaderBytes moved;
    if (file.fail()) {
        logLine("Cannot write " + source.native());
    } else {
        moved = readInReader(reader_jobs::moveMetadata, source,
                             {bigEndian ? "MM" : "II", std::to_string(firstByte)});
    }
    std::error_code ignored;
    fs::remove(source, ignored);
    const auto* bytes = reinterpret_cast<const std::byte*>(moved.bytes.data());
    return {bytes, bytes + moved.bytes.size()};
}

std::shared_ptr<const Metadata> readMetadata(const fs::path& path) {
    const ReaderBytes read = readInReader(reader_jobs::metadata, path);
    if (read.answer.result != ReaderResult::done) return nullptr;
    auto blocks = unpackMetadata(read.bytes);
    if (blocks) return std::make_shared<const Metadata>(std::move(*blocks));
    logLine(path.native() + ": the reader has left no whole metadata");
    return nullptr;
}

}  // namespace lumaweave
