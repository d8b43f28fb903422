// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/WorkLimit.h"

#include <ctime>

namespace lumaweave {

using std::chrono::nanoseconds;

nanoseconds workOfThisThread() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

WorkLimit::WorkLimit(nanoseconds time) : end_(workOfThisThread() + time) {}

bool WorkLimit::isOver() const {
    return workOfThisThread() > end_;
}

}  // namespace lumaweave
