// SPDX-License-Identifier: GPL-3.0-or-later
#include "Output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace lumaweave::bench {

namespace {

int progressDescriptor = STDERR_FILENO;

}  // namespace

Output::Output(const std::filesystem::path& file) : file_(file) {
    const int target =
        open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
    progressDescriptor = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    const bool redirected = target >= 0 && progressDescriptor >= 0 &&
                            dup2(target, STDOUT_FILENO) >= 0 && dup2(target, STDERR_FILENO) >= 0;
    if (!redirected) throw std::runtime_error("cannot redirect the output to " + file.native());
    close(target);
}

void Output::forget() const {
    std::fflush(stdout);
    std::filesystem::resize_file(file_, 0);
}

std::vector<std::string> Output::fusionCommands() const {
    std::vector<std::string> commands;
    std::ifstream stream(file_);
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with('"') && line.find("/enfuse-openmp\" ") != std::string::npos) {
            commands.push_back(line);
        }
    }
    return commands;
}

std::string endOfOutput(const std::filesystem::path& file) {
    constexpr std::size_t most = 2000;
    std::ifstream stream(file);
    const std::string text(std::istreambuf_iterator<char>(stream), {});
    return text.substr(text.size() - std::min(text.size(), most));
}

void progress(const std::string& line) {
    const std::string text = line + '\n';
    [[maybe_unused]] const auto written = write(progressDescriptor, text.data(), text.size());
}

}  // namespace lumaweave::bench
