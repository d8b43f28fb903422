// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <thread>
#include <vector>

namespace lumaweave {

/// Calls work(i) for every i below `count`, on `threads` threads. The order is not fixed, so each
/// piece of work must depend on its own index alone.
template <typename Work>
void forEachIndex(int count, int threads, const Work& work) {
    std::atomic<int> next{0};
    const auto run = [&] {
        for (int i = next++; i < count; i = next++) {
            work(i);
        }
    };
    std::vector<std::jthread> helpers;
    for (int k = 1; k < threads; ++k) {
        helpers.emplace_back(run);
    }
    run();
}

}  // namespace lumaweave
