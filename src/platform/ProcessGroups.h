// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace lumaweave {

// Child processes, each in a process group of its own, so that quitting ends what they have started
// as well. Any thread may call.

struct ChildProcess {
    std::string file;                    // an absolute path
    std::vector<std::string> arguments;  // the program's name first
    // Takes both outputs of a child that gets no other descriptor of ours and none of our signal
    // handling; -1 for a child that shares them with us.
    int output = -1;
};

// Starts it, with an empty input. -1 when it cannot be started, or after refuseChildProcesses.
[[nodiscard]] pid_t startInOwnGroup(const ChildProcess& child);

// Waits for the child's end, ends what is left of its group when that is asked for, and gives the
// wait status; -1 when there is none.
enum class Leftovers { stay, end };
[[nodiscard]] int waitForGroup(pid_t child, Leftovers leftovers);

// Whether the child has ended (waitForGroup then returns at once). Never waits.
[[nodiscard]] bool hasEnded(pid_t child);

// Asks all groups that still run to end.
void endRunningGroups();

// From now on starts nothing: the program quits.
void refuseChildProcesses();

}  // namespace lumaweave
