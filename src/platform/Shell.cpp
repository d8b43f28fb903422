// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Shell.h"

#include "platform/ProcessGroups.h"

namespace lumaweave {

int runShellLine(const std::string& line) {
    const pid_t child = startInOwnGroup({"/bin/sh", {"sh", "-c", line}});
    return child < 0 ? -1 : waitForGroup(child, Leftovers::stay);
}

void refuseShellLines() {
    refuseChildProcesses();
}

void endRunningShellLines() {
    endRunningGroups();
}

}  // namespace lumaweave
