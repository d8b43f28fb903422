// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/FileSizeLimit.h"

#include <sys/resource.h>

#include <csignal>

namespace lumaweave::test {

FileSizeLimit::FileSizeLimit(unsigned long bytes) {
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    before_ = limit.rlim_cur;
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
    signalHandler_ = std::signal(SIGXFSZ, SIG_IGN);
}

FileSizeLimit::~FileSizeLimit() {
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = before_;
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, signalHandler_);
}

}  // namespace lumaweave::test
