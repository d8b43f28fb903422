// SPDX-License-Identifier: GPL-3.0-or-later
#include "stack/Turns.h"

#include <condition_variable>
#include <mutex>

namespace lumaweave {

std::atomic<bool> gEnfusingPreview = false;
std::atomic<bool> gEnfusingFull = false;
std::atomic<bool> detailFilesTaken = false;
std::atomic<bool> alignmentTaken = false;

Turn::Turn(std::atomic<bool>& taken) : taken_(taken) {
    while (taken_.exchange(true))
        taken_.wait(true);
}

Turn::~Turn() {
    taken_ = false;
    taken_.notify_one();
}

namespace {

std::mutex turnMutex;
std::condition_variable turnChanged;
unsigned long nextTurn = 0;
unsigned long currentTurn = 0;

}  // namespace

PreviewTurn::PreviewTurn() {
    std::unique_lock lock(turnMutex);
    const unsigned long mine = nextTurn++;
    turnChanged.wait(lock, [mine] { return currentTurn == mine; });
}

PreviewTurn::~PreviewTurn() {
    const std::lock_guard lock(turnMutex);
    ++currentTurn;
    turnChanged.notify_all();
}

}  // namespace lumaweave
