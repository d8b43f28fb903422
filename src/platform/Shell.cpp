#include "platform/Shell.h"

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

// Each line gets a process group of its own, so that quitting can end the tool and not only the
// shell around it.
pid_t startShell(const std::string& line) {
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    // A group in the background may not read from the terminal.
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    std::string name = "sh";
    std::string option = "-c";
    std::string text = line;
    char* arguments[] = {name.data(), option.data(), text.data(), nullptr};
    pid_t child = -1;
    const std::lock_guard lock(groupsMutex);
    const int error = refusing
                          ? ECANCELED
                          : posix_spawn(&child, "/bin/sh", &files, &attributes, arguments, environ);
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) return -1;
    runningGroups.insert(child);
    return child;
}

// Waits without reaping, so that the group's number cannot be given to another process while
// EndRunningShellLines still knows it.
int waitFor(pid_t child) {
    siginfo_t info{};
    while (waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT) != 0) {
        if (errno != EINTR) break;
    }
    const std::lock_guard lock(groupsMutex);
    runningGroups.erase(child);
    int status = -1;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return status;
}

}  // namespace

int RunShellLine(const std::string& line) {
    const pid_t child = startShell(line);
    return child < 0 ? -1 : waitFor(child);
}

void RefuseShellLines() {
    const std::lock_guard lock(groupsMutex);
    refusing = true;
}

void EndRunningShellLines() {
    const std::lock_guard lock(groupsMutex);
    for (const pid_t group : runningGroups)
        kill(-group, SIGTERM);
}

char ShellActiveCharacter(std::string_view path) {
    const auto found = path.find_first_of("\"$`\\\n\r");
    return found == std::string_view::npos ? '\0' : path[found];
}

}  // namespace lumaweave
