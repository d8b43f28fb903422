// SPDX-License-Identifier: GPL-3.0-or-later
#include "stack/Turns.h"

#include <gmock/gmock.h>

#include <memory>
#include <thread>
#include <vector>

namespace lumaweave {

namespace {

// How often one of four threads took a turn while another one had it.
template <typename TakeTurn>
int turnsTogether(const TakeTurn& takeTurn) {
    std::atomic<int> inside = 0;
    std::atomic<int> together = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                const auto turn = takeTurn();
                if (++inside > 1) ++together;
                --inside;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    return together;
}

}  // namespace

TEST(Turn, HoldsItsFlag) {
    std::atomic<bool> taken = false;
    {
        const Turn turn(taken);
        EXPECT_TRUE(taken);
    }
    EXPECT_FALSE(taken);
}

TEST(Turn, OnlyOneAtATime) {
    std::atomic<bool> taken = false;
    EXPECT_EQ(turnsTogether([&taken] { return Turn(taken); }), 0);
    EXPECT_FALSE(taken);
}

TEST(PreviewTurn, OnlyOneAtATime) {
    EXPECT_EQ(turnsTogether([] { return PreviewTurn(); }), 0);
}

}  // namespace lumaweave
