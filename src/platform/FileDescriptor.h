#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
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

    // Opens a regular file for reading; anything else (a folder, a pipe, which could make a reader
    // wait for ever) counts as not there: isOpen is false.
    [[nodiscard]] static FileDescriptor ofRegularFile(const std::filesystem::path& path);

    [[nodiscard]] bool isOpen() const { return number_ >= 0; }
    [[nodiscard]] int number() const { return number_; }
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

}  // namespace lumaweave
