// SPDX-License-Identifier: GPL-3.0-or-later
#include "stack/BatchActivity.h"

#include <atomic>

namespace lumaweave {

namespace {
std::atomic<BatchActivity::Phase> currentPhase = BatchActivity::Phase::none;
}

BatchActivity& BatchActivity::instance() {
    static BatchActivity activity;
    return activity;
}

BatchActivity::Phase BatchActivity::phase() const {
    return currentPhase;
}

void BatchActivity::setPhase(Phase phase) {
    if (currentPhase.exchange(phase) != phase) Q_EMIT changed();
}

bool BatchActivity::isRunning() {
    return currentPhase != Phase::none;
}

}  // namespace lumaweave
