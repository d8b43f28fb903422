#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace lumaweave::test {

// Files that ask for more than they hold, and what is to be put in the reader's place.

// A PNG whose header claims an interlaced picture of that size, 16 bit with alpha, and that has no
// pixels. Such a picture can only be held as a whole.
[[nodiscard]] std::string interlacedPngThatClaims(std::uint32_t width, std::uint32_t height);

// A progressive JPEG of that size, grey all over, that comes bit by bit and coefficient by
// coefficient: in more than 2600 scans, as many as there can be, of some bytes each. No decoder has
// anything to complain about.
[[nodiscard]] std::string jpegOfManyScans(int width, int height);

// A PNG of 8 x 8 pixels in front of whose pixels stand these bytes as a chunk of that name.
[[nodiscard]] std::string pngWithChunk(const std::string& name, const std::string& data);

// zlib's compressed form of so many zero bytes.
[[nodiscard]] std::string compressedZeros(std::size_t count);

// Puts a shell script (without its first line) in the reader's place while it lives; an empty one
// leaves no reader there at all. Its job is $1, its source $2, its target $3.
class ReaderReplacement {
  public:
    explicit ReaderReplacement(const std::string& script);
    ~ReaderReplacement();
    ReaderReplacement(const ReaderReplacement&) = delete;
    ReaderReplacement& operator=(const ReaderReplacement&) = delete;

  private:
    std::filesystem::path folder_;
};

// Writes a file that can be run.
void writeScript(const std::filesystem::path& path, const std::string& script);

}  // namespace lumaweave::test
