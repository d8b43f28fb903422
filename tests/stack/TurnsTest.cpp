#include "stack/Turns.h"

#include <gmock/gmock.h>

#include <memory>
#include <thread>
#include <vector>

namespace lumaweave {

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
    std::atomic<int> inside = 0;
    std::atomic<int> together = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                const Turn turn(taken);
                if (++inside > 1) ++together;
                --inside;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(together, 0);
    EXPECT_FALSE(taken);
}

TEST(PreviewTurn, OnlyOneAtATime) {
    std::atomic<int> inside = 0;
    std::atomic<int> together = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                const PreviewTurn turn;
                if (++inside > 1) ++together;
                --inside;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(together, 0);
}

}  // namespace lumaweave
