#pragma once

#include <string>
#include <string_view>

namespace lumaweave {

// Runs one line with the POSIX shell and waits for its end, as the C library's system() does. The
// line's output goes to this program's own, its input is empty. Returns the wait status, or -1 when
// the shell could not be started; callers judge a tool by the file it leaves, not by this. Any
// thread may call.
int RunShellLine(const std::string& line);

// Ends every line that is still running (all processes that it started). Any thread may call.
void EndRunningShellLines();

// From now on RunShellLine starts nothing and returns -1 at once: the program quits. Any thread.
void RefuseShellLines();

// The first character of the path that a shell acts on between double quotes (double quote, dollar
// sign, back-quote, backslash, line break), or 0 when the quoted path reaches the tool as it
// stands.
[[nodiscard]] char ShellActiveCharacter(std::string_view path);

}  // namespace lumaweave
