// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <latch>
#include <thread>
#include <vector>

#include <gas/host/sys_thread_lock.h>

namespace {

using Hint = SysThreadLock::DurationHint;

TEST(SysThreadLock, TakesFourBytes) { EXPECT_EQ(sizeof(SysThreadLock), 4u); }

TEST(SysThreadLock, HintOneStandsForAPieceOfWork) { EXPECT_EQ(static_cast<Hint>(1), Hint::task); }

TEST(SysThreadLock, CanBeTakenAgainOnceReleased) {
    SysThreadLock lock;
    for (const Hint hint : {Hint::instant, Hint::task, Hint::instant}) {
        lock.lock(hint);
        lock.unlock();
    }
}

TEST(SysThreadLock, LetsOneThreadInAtATime) {
    constexpr unsigned thread_count = 8;
    constexpr unsigned round_count = 2000;
    SysThreadLock lock;
    unsigned counter = 0; // an unguarded increment would lose some
    std::latch start(thread_count);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < thread_count; ++i) {
        const Hint hint = i % 2 ? Hint::task : Hint::instant;
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
    std::latch started(2);
    lock.lock(Hint::task);
    std::thread sleeper([&] {
        started.arrive_and_wait();
        lock.lock(Hint::task);
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
