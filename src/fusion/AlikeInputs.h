// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

#include "imaging/picture/Image.h"

namespace lumaweave {

// The fusion tool refuses shots that differ in depth, or that mix grey and colour. It takes the
// first shot's colour profile for all. And it stretches floats from their darkest to their
// brightest value when it is to write integers.

// One input of a run: the file that a cell gives it, and, where the file holds a shot of full size,
// that shot. (It may be compressed, and then cannot be mapped.)
struct RunInput {
    std::filesystem::path file;
    Image image;
};

// Makes the inputs of a run alike for the tool: all of the greatest depth among them, RGB when any
// is, and in the colour profile of the first (of the first in RGB, when any is). Passes on files
// that are so already, and converts others into copies in the working folder, which go with this
// object. It never changes an input. Any thread.
class AlikeInputs {
  public:
    explicit AlikeInputs(const std::vector<RunInput>& inputs);
    ~AlikeInputs();
    AlikeInputs(const AlikeInputs&) = delete;
    AlikeInputs& operator=(const AlikeInputs&) = delete;

    // The files for the tool, in the order of the inputs. An input that cannot be read stays as it
    // is: the tool says what is wrong.
    [[nodiscard]] const std::vector<std::filesystem::path>& files() const { return files_; }
    // False when there was no room for a copy; the reason is in the log. The files should then not
    // be fused.
    [[nodiscard]] bool areComplete() const { return complete_; }
    // The type of the samples that the tool will read.
    [[nodiscard]] SampleType type() const { return type_; }

  private:
    std::vector<std::filesystem::path> files_;
    std::vector<std::filesystem::path> copies_;
    std::atomic<bool> complete_ = true;
    SampleType type_ = SampleType::uint8;
};

// The type of samples that a fusion's command line asks for, before inputs are appended to it.
[[nodiscard]] SampleType requestedType(const std::string& command);

// The shell line that makes a run in floats, whatever depth its command line names.
[[nodiscard]] std::string inFloats(const std::string& command);

// Turns the result into samples of this type in place. Removes one that cannot be turned, so that
// nobody takes it for what was asked for; the log has the reason.
void turnInto(SampleType type, const std::filesystem::path& result);

}  // namespace lumaweave
