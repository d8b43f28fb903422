// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Threads.h"

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "support/Waiting.h"

namespace lumaweave {

using namespace std::chrono_literals;
using test::waitForBackgroundTasks;
using test::waitUntil;
using testing::ElementsAre;

namespace {

// Long enough for any machine; no passing test waits so long.
constexpr auto generousBound = 300s;

// Says where and when it was destroyed.
class Witness {
  public:
    Witness(std::atomic<bool>& destroyed, std::atomic<bool>& onMainThread)
        : destroyed_(destroyed), onMainThread_(onMainThread) {}
    ~Witness() {
        onMainThread_ = isMainThread();
        destroyed_ = true;
    }
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;

  private:
    std::atomic<bool>& destroyed_;
    std::atomic<bool>& onMainThread_;
};

}  // namespace

TEST(Threads, OnlyTheMainThreadIsTheMainThread) {
    EXPECT_TRUE(isMainThread());
    std::atomic<bool> workerIsMain = true;
    std::thread([&] { workerIsMain = isMainThread(); }).join();
    EXPECT_FALSE(workerIsMain);
}

TEST(Threads, AWorkersWaitingCallReturnsAfterItHasRunOnTheMainThread) {
    std::atomic<bool> returned = false;
    std::atomic<bool> ranOnMainThread = false;
    std::atomic<bool> returnedWhileItRan = false;
    std::atomic<bool> hadRunAtReturn = false;
    std::atomic<bool> otherHandOffRan = false;
    performInBackground([&] {
        std::atomic<bool> ran = false;
        performOnMainThread(
            [&] {
                ranOnMainThread = isMainThread();
                // While this runs, another worker's call comes and goes, but this one stays open.
                performInBackground(
                    [&] { performOnMainThread([&] { otherHandOffRan = true; }, Wait::yes); });
                EXPECT_TRUE(waitUntil([&] { return otherHandOffRan.load(); }));
                returnedWhileItRan = returned.load();
                ran = true;
            },
            Wait::yes);
        returned = true;
        hadRunAtReturn = ran.load();
    });
    EXPECT_TRUE(waitForBackgroundTasks());
    EXPECT_TRUE(ranOnMainThread);
    EXPECT_TRUE(otherHandOffRan);
    EXPECT_FALSE(returnedWhileItRan);
    EXPECT_TRUE(hadRunAtReturn);
}

TEST(Threads, OnTheMainThreadAWaitingCallRunsAheadOfWhatIsQueued) {
    std::vector<std::string> order;
    performOnMainThread([&] { order.emplace_back("queued"); }, Wait::no);
    performOnMainThread([&] { order.emplace_back("plain"); }, Wait::yes);
    EXPECT_THAT(order, ElementsAre("plain"));
    EXPECT_TRUE(waitUntil([&] { return order.size() == 2; }));
    EXPECT_THAT(order, ElementsAre("plain", "queued"));
}

TEST(Threads, OnTheMainThreadACallThatDoesNotWaitIsQueued) {
    std::vector<int> order;
    for (int i = 0; i < 3; ++i)
        performOnMainThread([&order, i] { order.push_back(i); }, Wait::no);
    EXPECT_TRUE(order.empty());
    EXPECT_TRUE(waitUntil([&] { return order.size() == 3; }));
    EXPECT_THAT(order, ElementsAre(0, 1, 2));
}

TEST(Threads, AWorkersCallThatDoesNotWaitReturnsWhileTheMainThreadIsBusy) {
    std::atomic<bool> ran = false;
    // The main thread waits for the worker without serving anything.
    std::thread([&] { performOnMainThread([&] { ran = true; }, Wait::no); }).join();
    EXPECT_FALSE(ran);
    EXPECT_TRUE(waitUntil([&] { return ran.load(); }));
}

TEST(Threads, AWorkersCallsRunInTheirOrder) {
    constexpr int calls = 500;
    std::vector<int> order;
    performInBackground([&order] {
        for (int i = 0; i < calls; ++i) {
            const Wait wait = i % 7 == 0 ? Wait::yes : Wait::no;
            performOnMainThread([&order, i] { order.push_back(i); }, wait);
        }
    });
    EXPECT_TRUE(waitUntil([&] { return order.size() == calls; }));
    std::vector<int> expected(calls);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
    EXPECT_TRUE(waitForBackgroundTasks());
}

TEST(Threads, TheCallsOfManyWorkersEachRunOnce) {
    constexpr int workers = 16;
    constexpr int callsEach = 100;
    int count = 0;  // touched by the main thread alone
    for (int i = 0; i < workers; ++i) {
        performInBackground([&count] {
            for (int call = 0; call < callsEach; ++call) {
                performOnMainThread([&count] { ++count; }, call % 2 == 0 ? Wait::yes : Wait::no);
            }
        });
    }
    EXPECT_TRUE(finishBackgroundTasks(generousBound));
    EXPECT_EQ(count, workers * callsEach);
}

TEST(Threads, ANestedEventLoopServesHandOffs) {
    bool served = false;
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [&] {
            QEventLoop nested;
            performInBackground([&] {
                performOnMainThread(
                    [&] {
                        served = true;
                        nested.quit();
                    },
                    Wait::yes);
            });
            nested.exec();
        },
        Qt::QueuedConnection);
    EXPECT_TRUE(waitUntil([&] { return served; }));
    EXPECT_TRUE(waitForBackgroundTasks());
}

TEST(Threads, WhileAHandOffRunsANestedLoopTheRestOfTheQueueIsServed) {
    std::vector<std::string> order;
    QEventLoop nested;
    performOnMainThread(
        [&] {
            nested.exec();
            order.emplace_back("first ended");
        },
        Wait::no);
    performOnMainThread([&] { order.emplace_back("second"); }, Wait::no);
    performOnMainThread(
        [&] {
            order.emplace_back("third");
            nested.quit();
        },
        Wait::no);
    EXPECT_TRUE(waitUntil([&] { return order.size() == 3; }));
    EXPECT_THAT(order, ElementsAre("second", "third", "first ended"));
}

TEST(Threads, WhileAWaitedForHandOffRunsANestedLoopOtherWorkersAreServed) {
    QEventLoop nested;
    std::atomic<bool> loopRuns = false;
    std::vector<std::string> order;
    performInBackground([&] {
        performOnMainThread(
            [&] {
                loopRuns = true;
                nested.exec();
                order.emplace_back("loop ended");
            },
            Wait::yes);
    });
    performInBackground([&] {
        for (int i = 0; i < 3; ++i) {
            performOnMainThread([&] { order.emplace_back("served"); }, Wait::yes);
        }
        while (!loopRuns)
            performOnMainThread([] {}, Wait::yes);
        performOnMainThread([&] { nested.quit(); }, Wait::yes);
    });
    EXPECT_TRUE(waitForBackgroundTasks());
    EXPECT_THAT(order, ElementsAre("served", "served", "served", "loop ended"));
}

TEST(Threads, RunningBackgroundTasksCountsThoseThatHaveNotEnded) {
    EXPECT_EQ(runningBackgroundTasks(), 0);
    std::promise<void> releaseFirst;
    std::promise<void> releaseOthers;
    const std::shared_future<void> first = releaseFirst.get_future().share();
    const std::shared_future<void> others = releaseOthers.get_future().share();
    performInBackground([first] { first.wait(); });
    performInBackground([others] { others.wait(); });
    performInBackground([others] { others.wait(); });
    EXPECT_EQ(runningBackgroundTasks(), 3);
    releaseFirst.set_value();
    EXPECT_TRUE(waitUntil([] { return runningBackgroundTasks() == 2; }));
    releaseOthers.set_value();
    EXPECT_TRUE(waitUntil([] { return runningBackgroundTasks() == 0; }));
}

TEST(Threads, WhatATaskHeldIsGoneWhenItCountsAsEnded) {
    for (int i = 0; i < 50; ++i) {
        auto held = std::make_shared<int>(1);
        const std::weak_ptr<int> watched = held;
        performInBackground([held = std::move(held)] {});
        EXPECT_TRUE(finishBackgroundTasks(generousBound));
        EXPECT_TRUE(watched.expired());
    }
}

TEST(Threads, FinishingServesHandOffsUntilEveryTaskHasEnded) {
    std::atomic<bool> ended = false;
    int served = 0;
    performInBackground([&] {
        for (int i = 0; i < 3; ++i)
            performOnMainThread([&] { ++served; }, Wait::yes);
        performInBackground([&] {
            performOnMainThread([&] { ++served; }, Wait::yes);
            ended = true;
        });
    });
    EXPECT_TRUE(finishBackgroundTasks(generousBound));
    EXPECT_TRUE(ended);
    EXPECT_EQ(served, 4);
    EXPECT_EQ(runningBackgroundTasks(), 0);
}

TEST(Threads, FinishingRunsWhatTheLastTaskHandedOverWithoutWaiting) {
    bool ran = false;
    performInBackground([&] { performOnMainThread([&] { ran = true; }, Wait::no); });
    EXPECT_TRUE(finishBackgroundTasks(generousBound));
    EXPECT_TRUE(ran);
}

TEST(Threads, FinishingGivesUpAfterItsBound) {
    std::promise<void> release;
    performInBackground([released = release.get_future().share()] { released.wait(); });
    EXPECT_FALSE(finishBackgroundTasks(1ms));
    EXPECT_EQ(runningBackgroundTasks(), 1);
    release.set_value();
    EXPECT_TRUE(finishBackgroundTasks(generousBound));
}

TEST(Threads, AnObjectOfTheMainThreadIsDestroyedThereWhenAWorkerLetsGoLast) {
    std::atomic<bool> destroyed = false;
    std::atomic<bool> onMainThread = false;
    auto owner = ownedByMainThread(std::make_unique<Witness>(destroyed, onMainThread));
    std::thread([last = std::move(owner)]() mutable { last.reset(); }).join();
    EXPECT_FALSE(destroyed);
    EXPECT_TRUE(waitUntil([&] { return destroyed.load(); }));
    EXPECT_TRUE(onMainThread);
}

TEST(Threads, AnObjectOfTheMainThreadIsDestroyedAtOnceWhenTheMainThreadLetsGoLast) {
    std::atomic<bool> destroyed = false;
    std::atomic<bool> onMainThread = false;
    auto owner = ownedByMainThread(std::make_unique<Witness>(destroyed, onMainThread));
    auto workersShare = owner;
    std::thread([share = std::move(workersShare)]() mutable { share.reset(); }).join();
    EXPECT_FALSE(destroyed);
    owner.reset();
    EXPECT_TRUE(destroyed);
    EXPECT_TRUE(onMainThread);
}

}  // namespace lumaweave
