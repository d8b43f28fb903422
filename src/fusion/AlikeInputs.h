#pragma once

#include <QByteArray>
#include <filesystem>
#include <string>
#include <vector>

#include "imaging/Image.h"

namespace lumaweave {

// The fusion tool refuses shots that differ in depth, or of which some are grey and some in
// colours. It takes the first shot's colour profile for all. And it stretches floats from their
// darkest to their brightest value when it is to write integers.

// One input of a run: the file that the tool is given, and the shot that it was made of.
struct RunInput {
    std::filesystem::path file;
    Image image;
};

// Makes the inputs alike: each gets the greatest depth among them, is made RGB when any is, and its
// colours are converted to the profile of the first (of the first in RGB, when any is). Files
// outside the working folder, which are the person's own, stay as they are; the first of them
// decides on the profile. Gives the type of the samples that the tool will then read. Any thread,
// one at a time for a set of files.
[[nodiscard]] SampleType makeAlike(const std::vector<RunInput>& inputs);

// The type of samples that a fusion's command line asks for, before inputs are appended to it.
[[nodiscard]] SampleType requestedType(const std::string& command);

// The shell line that makes a run in floats, whatever depth its command line names.
[[nodiscard]] std::string inFloats(const std::string& command);

// Turns the result into samples of this type in place. One that cannot be turned is removed, so
// that nobody takes it for what was asked for; the reason is in the log.
void turnInto(SampleType type, const std::filesystem::path& result);

}  // namespace lumaweave
