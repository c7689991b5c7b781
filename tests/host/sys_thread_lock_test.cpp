// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include <gas/host/host.h>

#include <tests/support/latch.h>

namespace {

/// The hints of any host: 1 stands for a piece of work.
using Hint = SysThreadLock::DurationHint;
constexpr auto instant_hint = static_cast<Hint>(0);
constexpr auto work_hint = static_cast<Hint>(1);

TEST(SysThreadLock, CanBeTakenAgainOnceReleased) {
    SysThreadLock lock;
    for (const Hint hint : {instant_hint, work_hint, instant_hint}) {
        lock.lock(hint);
        lock.unlock();
    }
}

TEST(SysThreadLock, LetsOneThreadInAtATime) {
    constexpr unsigned thread_count = 8;
    constexpr unsigned round_count = 2000;
    SysThreadLock lock;
    unsigned counter = 0; // an unguarded increment would lose some
    support::Latch start(thread_count);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < thread_count; ++i) {
        const Hint hint = i % 2 ? work_hint : instant_hint;
        threads.emplace_back([&, hint] {
            start.arrive_and_wait();
            for (unsigned round = 0; round < round_count; ++round) {
                lock.lock(hint);
                ++counter;
                lock.unlock();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(counter, thread_count * round_count);
}

TEST(SysThreadLock, WakesASleeperWhenItIsReleased) {
    SysThreadLock lock;
    bool is_written = false;
    bool was_written = false;
    support::Latch started(2);
    lock.lock(work_hint);
    std::thread sleeper([&] {
        started.arrive_and_wait();
        lock.lock(work_hint);
        was_written = is_written;
        lock.unlock();
    });
    started.arrive_and_wait();
    is_written = true;
    lock.unlock();
    sleeper.join();
    EXPECT_TRUE(was_written);
}

} // namespace
