#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace lumaweave {

// Every function here may be called from any thread.

// Writes one line to the system log: standard error, which a desktop session keeps in its journal.
void Log(std::string_view line);

// Writes one line to standard output and flushes it, so that it stands in order with what the
// external tools print there themselves.
void PrintLine(std::string_view line);

// The text as a printf format without arguments would print it, safely: "%%" becomes "%", and every
// other conversion, having no argument, stays as it stands.
[[nodiscard]] std::string FormatWithoutArguments(std::string_view text);

// Sends the log's lines to `sink` as well as to standard error; an empty function ends that.
// The sink is called on the logging thread, one line at a time.
void SetLogSink(std::function<void(std::string_view)> sink);

}  // namespace lumaweave
