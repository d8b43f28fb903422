// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

namespace lumaweave {

FileDescriptor::~FileDescriptor() {
    if (number_ >= 0) close(number_);
}

FileDescriptor FileDescriptor::ofRegularFile(const std::filesystem::path& path) {
    // Never waits: an ordinary open would wait for the writer of a pipe for ever.
    FileDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    struct stat status {};
    if (!file.isOpen() || fstat(file.number_, &status) != 0 || !S_ISREG(status.st_mode)) return {};
    return file;
}

FileDescriptor FileDescriptor::duplicate() const {
    return FileDescriptor(fcntl(number_, F_DUPFD_CLOEXEC, 0));
}

std::uint64_t FileDescriptor::size() const {
    struct stat status {};
    return fstat(number_, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

bool FileDescriptor::readAt(std::uint64_t offset, void* to, std::size_t byteCount) const {
    auto* next = static_cast<std::byte*>(to);
    while (byteCount > 0) {
        const ssize_t got = pread(number_, next, byteCount, static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        next += got;
        offset += static_cast<std::uint64_t>(got);
        byteCount -= static_cast<std::size_t>(got);
    }
    return true;
}

bool FileDescriptor::writeAt(std::uint64_t offset, const void* from, std::size_t byteCount) const {
    const auto* next = static_cast<const std::byte*>(from);
    while (byteCount > 0) {
        const ssize_t put = pwrite(number_, next, byteCount, static_cast<off_t>(offset));
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) return false;
        next += put;
        offset += static_cast<std::uint64_t>(put);
        byteCount -= static_cast<std::size_t>(put);
    }
    return true;
}

bool FileDescriptor::copyFrom(const FileDescriptor& source, std::uint64_t byteCount,
                              std::uint64_t offset) const {
    auto from = static_cast<off_t>(0);
    auto to = static_cast<off_t>(offset);
    // The kernel copies, and moves no byte where the file system can share blocks.
    while (byteCount > 0) {
        const ssize_t copied = copy_file_range(source.number_, &from, number_, &to, byteCount, 0);
        if (copied < 0 && errno == EINTR) continue;
        const bool noRoom = errno == ENOSPC || errno == EFBIG || errno == EDQUOT;
        if (copied < 0 && noRoom) return false;
        if (copied <= 0) break;
        byteCount -= static_cast<std::uint64_t>(copied);
    }
    if (byteCount == 0) return true;
    // Not every pair of file systems can do that.
    std::vector<std::byte> buffer(std::size_t{1} << 20);
    while (byteCount > 0) {
        const auto piece =
            static_cast<std::size_t>(std::min<std::uint64_t>(byteCount, buffer.size()));
        if (!source.readAt(static_cast<std::uint64_t>(from), buffer.data(), piece) ||
            !writeAt(static_cast<std::uint64_t>(to), buffer.data(), piece)) {
            return false;
        }
        from += static_cast<off_t>(piece);
        to += static_cast<off_t>(piece);
        byteCount -= piece;
    }
    return true;
}

ReadBytes readBytesOf(const FileDescriptor& file) {
    return [&file](std::uint64_t offset, void* to, std::size_t byteCount) {
        return file.readAt(offset, to, byteCount);
    };
}

ReadBytes readBytesOf(std::span<const std::byte> bytes) {
    return [bytes](std::uint64_t offset, void* to, std::size_t byteCount) {
        if (offset > bytes.size() || byteCount > bytes.size() - offset) return false;
        if (byteCount > 0) std::memcpy(to, bytes.data() + offset, byteCount);
        return true;
    };
}

}  // namespace lumaweave
