// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <utility>

namespace lumaweave {

// Owns an open file's descriptor. Movable; any thread.
class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) : number_(number) {}
    ~FileDescriptor();
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }

    // Opens a regular file for reading. Anything else (a folder, a pipe, which could make the
    // thread wait for ever) counts as not there: isOpen is false.
    [[nodiscard]] static FileDescriptor ofRegularFile(const std::filesystem::path& path);

    [[nodiscard]] bool isOpen() const { return number_ >= 0; }
    [[nodiscard]] int number() const { return number_; }
    // Another descriptor of the same open file; the two share the position.
    [[nodiscard]] FileDescriptor duplicate() const;
    // Gives the number away: the caller must close it.
    [[nodiscard]] int release() { return std::exchange(number_, -1); }
    // The file's size in bytes; 0 when it cannot be told.
    [[nodiscard]] std::uint64_t size() const;
    // Reads exactly that many bytes from the offset on; false when the file does not have them.
    [[nodiscard]] bool readAt(std::uint64_t offset, void* to, std::size_t byteCount) const;
    // Writes all the bytes at the offset; false (errno says why) when they cannot be written.
    [[nodiscard]] bool writeAt(std::uint64_t offset, const void* from, std::size_t byteCount) const;
    // Copies the other file's bytes from its start on, byteCount of them, to the offset here.
    // False (errno says why) when not all could be read and written.
    [[nodiscard]] bool copyFrom(const FileDescriptor& source, std::uint64_t byteCount,
                                std::uint64_t offset) const;

  private:
    int number_ = -1;
};

// Reads byteCount bytes at the offset; false when there are none.
using ReadBytes = std::function<bool(std::uint64_t offset, void* to, std::size_t byteCount)>;

// The bytes of a file, or of memory, which must outlive the result.
[[nodiscard]] ReadBytes readBytesOf(const FileDescriptor& file);
[[nodiscard]] ReadBytes readBytesOf(std::span<const std::byte> bytes);

}  // namespace lumaweave
