// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/HelperProgram.h"

#include <fcntl.h>

#include <csignal>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <thread>

#include "platform/FileDescriptor.h"
#include "platform/ProcessGroups.h"

namespace lumaweave {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Reads what has come, waiting a moment for it; false when no more can come.
bool readOutput(const FileDescriptor& pipe, std::string& output) {
    constexpr std::size_t mostKept = std::size_t{64} << 10;
    constexpr int milliseconds = 20;
    pollfd waiting{pipe.number(), POLLIN, 0};
    if (poll(&waiting, 1, milliseconds) <= 0) return true;
    std::array<char, 4096> bytes{};
    const ssize_t got = read(pipe.number(), bytes.data(), bytes.size());
    if (got <= 0) return false;
    output.append(bytes.data(), std::min(static_cast<std::size_t>(got), mostKept - output.size()));
    return true;
}

// Reads until the helper ends; false when the time is over. (What it has started may hold its
// output open for longer.)
bool followToItsEnd(pid_t helper, const FileDescriptor& pipe, Clock::time_point last,
                    std::string& output) {
    bool open = true;
    while (open && !hasEnded(helper)) {
        if (Clock::now() >= last) return false;
        open = readOutput(pipe, output);
    }
    for (; !hasEnded(helper); std::this_thread::sleep_for(1ms)) {
        if (Clock::now() >= last) return false;
    }
    return true;
}

// Reads what came right before the end: no more than a pipe holds.
void readRest(const FileDescriptor& pipe, std::string& output) {
    constexpr int mostPieces = 32;
    pollfd waiting{pipe.number(), POLLIN, 0};
    for (int i = 0; i < mostPieces && poll(&waiting, 1, 0) > 0; ++i) {
        if (!readOutput(pipe, output)) return;
    }
}

}  // namespace

HelperEnd runHelper(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                    std::chrono::milliseconds longest) {
    HelperEnd end;
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return end;
    const FileDescriptor ours(ends[0]);
    FileDescriptor theirs(ends[1]);
    ChildProcess child{program.native(), {program.filename().native()}, theirs.number()};
    child.arguments.insert(child.arguments.end(), arguments.begin(), arguments.end());
    const Clock::time_point last = Clock::now() + longest;
    const pid_t helper = startInOwnGroup(child);
    theirs = FileDescriptor();
    if (helper < 0) return end;
    const bool inTime = followToItsEnd(helper, ours, last, end.output);
    if (!inTime) kill(-helper, SIGKILL);
    const int status = waitForGroup(helper, Leftovers::end);
    readRest(ours, end.output);
    const bool killed = WIFSIGNALED(status);
    end.kind = !inTime  ? HelperEnd::Kind::tookTooLong
               : killed ? HelperEnd::Kind::killed
                        : HelperEnd::Kind::exited;
    end.number = killed ? WTERMSIG(status) : WEXITSTATUS(status);
    return end;
}

}  // namespace lumaweave
