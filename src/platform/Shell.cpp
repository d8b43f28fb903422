#include "platform/Shell.h"

#include "platform/ProcessGroups.h"

namespace lumaweave {

int RunShellLine(const std::string& line) {
    const pid_t child = startInOwnGroup({"/bin/sh", {"sh", "-c", line}});
    return child < 0 ? -1 : waitForGroup(child, Leftovers::stay);
}

void RefuseShellLines() {
    refuseChildProcesses();
}

void EndRunningShellLines() {
    endRunningGroups();
}

char ShellActiveCharacter(std::string_view path) {
    const auto found = path.find_first_of("\"$`\\\n\r");
    return found == std::string_view::npos ? '\0' : path[found];
}

}  // namespace lumaweave
