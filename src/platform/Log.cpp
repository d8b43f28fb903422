// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Log.h"

#include <cstdio>
#include <mutex>
#include <utility>

namespace lumaweave {

namespace {

std::mutex logMutex;
std::function<void(std::string_view)> logSink;

void writeLine(std::FILE* stream, std::string_view line) {
    std::string text(line);
    text += '\n';
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

}  // namespace

void logLine(std::string_view line) {
    const std::lock_guard lock(logMutex);
    writeLine(stderr, line);
    if (logSink) logSink(line);
}

void printLine(std::string_view line) {
    writeLine(stdout, line);
}

std::string formatWithoutArguments(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        result += text[i];
        if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == '%') ++i;
    }
    return result;
}

void setLogSink(std::function<void(std::string_view)> sink) {
    const std::lock_guard lock(logMutex);
    logSink = std::move(sink);
}

}  // namespace lumaweave
