// SPDX-License-Identifier: GPL-3.0-or-later
#include "reader/Limits.h"

#include <glib.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <new>
#include <poll.h>

#include "imaging/reader/ReaderJobs.h"

namespace lumaweave {

namespace {

void limit(__rlimit_resource resource, rlim_t value) {
    rlimit now{};
    getrlimit(resource, &now);
    if (now.rlim_max != RLIM_INFINITY && now.rlim_max < value) value = now.rlim_max;
    const rlimit wanted{value, now.rlim_max};
    setrlimit(resource, &wanted);
}

[[noreturn]] void endForWantOfMemory() {
    _exit(static_cast<int>(ReaderExit::memory));
}

// When GLib gets no memory, it says so and ends the process itself.
void takeMessage(const gchar* domain, GLogLevelFlags level, const gchar* message, gpointer data) {
    if ((level & G_LOG_LEVEL_ERROR) != 0 && std::strstr(message, "failed to allocate") != nullptr) {
        endForWantOfMemory();
    }
    g_log_default_handler(domain, level, message, data);
}

}  // namespace

void limitThisProcess(std::chrono::seconds time) {
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_CPU, static_cast<rlim_t>(time.count()));
    // Of what is written to; the map of a decoded picture does not count.
    if (isReaderMemoryLimited) limit(RLIMIT_DATA, static_cast<rlim_t>(readerMemory));
    std::set_new_handler(endForWantOfMemory);
    g_log_set_default_handler(takeMessage, nullptr);
}

void endWithTheProgram() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // If the program ended before that, nobody is there to read what this prints.
    pollfd reader{STDOUT_FILENO, 0, 0};
    if (poll(&reader, 1, 0) > 0 && (reader.revents & POLLERR) != 0) _exit(EXIT_FAILURE);
}

}  // namespace lumaweave
