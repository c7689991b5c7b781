// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <climits>
#include <cstddef>
#include <functional>

#include <gtest/gtest.h>
#include <pthread.h>

#include <tests/support/sanitizers.h>

namespace support {

inline void* run_task(void* task) {
    (*static_cast<const std::function<void()>*>(task))();
    return nullptr;
}

/// Runs the task on a thread with as small a stack as the callbacks of a renderer may have left.
/// Sanitizers need larger stacks, so with one of them it runs on this thread.
inline void run_on_a_small_stack(std::function<void()> task) {
    if (is_sanitized) {
        task();
        return;
    }
    const std::size_t stack_size =
        std::max(std::size_t{64 * 1024}, static_cast<std::size_t>(PTHREAD_STACK_MIN));
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, stack_size), 0);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, run_task, &task), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

} // namespace support
