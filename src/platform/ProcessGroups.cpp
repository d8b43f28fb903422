// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ProcessGroups.h"

#include <fcntl.h>

#include <csignal>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <set>

namespace lumaweave {

namespace {

std::mutex groupsMutex;
std::set<pid_t> runningGroups;
bool refusing = false;

class SpawnOptions {
  public:
    explicit SpawnOptions(int output) {
        posix_spawnattr_init(&attributes_);
        posix_spawn_file_actions_init(&files_);
        posix_spawnattr_setpgroup(&attributes_, 0);
        // A group in the background may not read from the terminal.
        posix_spawn_file_actions_addopen(&files_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        short flags = POSIX_SPAWN_SETPGROUP;
        if (output >= 0) {
            keepOurOwn(output);
            flags |= POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
        }
        posix_spawnattr_setflags(&attributes_, flags);
    }
    ~SpawnOptions() {
        posix_spawn_file_actions_destroy(&files_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnOptions(const SpawnOptions&) = delete;
    SpawnOptions& operator=(const SpawnOptions&) = delete;

    [[nodiscard]] const posix_spawnattr_t* attributes() const { return &attributes_; }
    [[nodiscard]] const posix_spawn_file_actions_t* files() const { return &files_; }

  private:
    void keepOurOwn(int output) {
        posix_spawn_file_actions_adddup2(&files_, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&files_, output, STDERR_FILENO);
        posix_spawn_file_actions_addclosefrom_np(&files_, STDERR_FILENO + 1);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes_, &none);
        sigset_t all;
        sigfillset(&all);
        posix_spawnattr_setsigdefault(&attributes_, &all);
    }

    posix_spawnattr_t attributes_{};
    posix_spawn_file_actions_t files_{};
};

// Waits without reaping, so that no other process gets the group's number while endRunningGroups
// still knows it.
bool waitWithoutReaping(pid_t child, int options) {
    siginfo_t info{};
    while (waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT | options) != 0) {
        if (errno != EINTR) return true;  // there is no such child to wait for
    }
    return info.si_pid == child;
}

}  // namespace

pid_t startInOwnGroup(const ChildProcess& child) {
    const SpawnOptions options(child.output);
    std::vector<std::string> arguments = child.arguments;
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    pid_t started = -1;
    const std::lock_guard lock(groupsMutex);
    if (refusing || posix_spawn(&started, child.file.c_str(), options.files(), options.attributes(),
                                pointers.data(), environ) != 0) {
        return -1;
    }
    runningGroups.insert(started);
    return started;
}

bool hasEnded(pid_t child) {
    return waitWithoutReaping(child, WNOHANG);
}

int waitForGroup(pid_t child, Leftovers leftovers) {
    waitWithoutReaping(child, 0);
    const std::lock_guard lock(groupsMutex);
    if (leftovers == Leftovers::end) kill(-child, SIGKILL);
    runningGroups.erase(child);
    int status = -1;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return status;
}

void endRunningGroups() {
    const std::lock_guard lock(groupsMutex);
    for (const pid_t group : runningGroups)
        kill(-group, SIGTERM);
}

void refuseChildProcesses() {
    const std::lock_guard lock(groupsMutex);
    refusing = true;
}

}  // namespace lumaweave
