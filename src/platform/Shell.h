// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace lumaweave {

// Runs one line with the POSIX shell and waits for its end, as the C library's system() does. The
// line's output goes to this program's own, its input is empty. Returns the wait status, or -1 when
// the shell could not be started; callers judge a tool by the file it leaves, not by this. Any
// thread may call.
int runShellLine(const std::string& line);

// Ends every line that is still running (all processes that it started). Any thread may call.
void endRunningShellLines();

// From now on runShellLine starts nothing and returns -1 at once: the program quits. Any thread.
void refuseShellLines();

}  // namespace lumaweave
