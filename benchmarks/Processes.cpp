// SPDX-License-Identifier: GPL-3.0-or-later
#include "Processes.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace lumaweave::bench {

int runProcess(const std::vector<std::string>& arguments) {
    std::vector<char*> pointers;
    for (const std::string& argument : arguments)
        pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    pid_t child = -1;
    const int error =
        posix_spawn(&child, pointers.front(), nullptr, nullptr, pointers.data(), environ);
    if (error != 0) {
        throw std::runtime_error("cannot start " + arguments.front() + ": " + std::strerror(error));
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) throw std::runtime_error("cannot wait for " + arguments.front());
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

double timeProcess(const std::vector<std::string>& arguments) {
    const Stopwatch watch;
    const int status = runProcess(arguments);
    const double seconds = watch.seconds();
    if (status != 0) {
        throw std::runtime_error(arguments.front() + " failed with status " +
                                 std::to_string(status));
    }
    return seconds;
}

std::vector<std::string> splitCommand(const std::string& command) {
    std::vector<std::string> arguments;
    std::string argument;
    bool quoted = false;
    bool begun = false;
    for (const char c : command + ' ') {
        if (c == '"') {
            quoted = !quoted;
            begun = true;
        } else if (c != ' ' || quoted) {
            argument += c;
            begun = true;
        } else if (begun) {
            arguments.push_back(std::move(argument));
            argument.clear();
            begun = false;
        }
    }
    return arguments;
}

std::string& outputOf(std::vector<std::string>& arguments) {
    const auto option = std::find(arguments.begin(), arguments.end(), "-o");
    if (option == arguments.end() || option + 1 == arguments.end()) {
        throw std::runtime_error("a fusion command without an output file");
    }
    return *(option + 1);
}

}  // namespace lumaweave::bench
