// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace lumaweave {

// Any thread may call every function here.

// Writes one line to the system log: standard error, which a desktop session keeps in its journal.
void logLine(std::string_view line);

// Writes one line to standard output and flushes it, so that it stands in order with what the
// external tools print there themselves.
void printLine(std::string_view line);

// The text as a printf format without arguments would print it, safely: "%%" becomes "%", and every
// other conversion, having no argument, stays as it stands.
[[nodiscard]] std::string formatWithoutArguments(std::string_view text);

// Sends the log's lines to `sink` as well as to standard error; an empty function ends that.
// The sink is called on the logging thread, one line at a time.
void setLogSink(std::function<void(std::string_view)> sink);

}  // namespace lumaweave
