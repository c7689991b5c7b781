// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include <tests/support/allocation_attempts.h>
#include <tests/support/allocation_counter.h>

/// Operations that are repeated with each of their allocations failing in turn.
namespace support {

/// What an operation leaves where memory runs out.
enum class Leaves {
    as_it_was,
    /// As newly made, which `State::describe_empty` describes.
    empty
};

template <typename State> struct Operation {
    std::string name;
    std::function<void(State&)> run;
    Leaves leaves = Leaves::as_it_was;
    /// Whether it has a way to go on without some of its memory.
    bool goes_on = false;
};

/// A `State` is made anew for each attempt, always the same. `describe()` says all that may change
/// in it, as bytes, `describe_empty()` what that is of an empty one; `find_flaws()` says what is
/// wrong with it.
///
/// For each allocation that `operation` makes, one after the other fails: the operation throws
/// std::bad_alloc and leaves what it has to; another go does what the operation always does; and
/// all memory is given back.
template <typename State> void fail_each_allocation(const Operation<State>& operation) {
    using Flaws = std::vector<std::string>;
    SCOPED_TRACE(operation.name);
    std::string before;
    std::string after;
    // The first go also makes what is kept for ever, such as threads.
    for (unsigned go = 0; go < 2; ++go) {
        State state;
        before = operation.leaves == Leaves::empty ? state.describe_empty() : state.describe();
        operation.run(state);
        after = state.describe();
        ASSERT_EQ(state.find_flaws(), Flaws());
    }
    for (std::uint64_t nth = 0;; ++nth) {
        SCOPED_TRACE(nth);
        ASSERT_LT(nth, 2000u);
        const std::int64_t live_bytes = get_live_bytes();
        bool is_reached = false;
        {
            State state;
            const Attempt attempt = support::attempt(nth, [&] { operation.run(state); });
            is_reached = attempt.reached;
            ASSERT_TRUE(attempt.thrown == attempt.reached || operation.goes_on);
            if (attempt.thrown) {
                ASSERT_TRUE(state.describe() == before) << "it is not what it has to be";
                ASSERT_EQ(state.find_flaws(), Flaws());
                operation.run(state);
            }
            ASSERT_TRUE(state.describe() == after) << "it has not done what it does";
            ASSERT_EQ(state.find_flaws(), Flaws());
        }
        ASSERT_EQ(get_live_bytes(), live_bytes);
        if (!is_reached)
            return;
    }
}

template <typename State> void fail_each_allocation(const std::vector<Operation<State>>& all) {
    for (const Operation<State>& operation : all) {
        fail_each_allocation(operation);
        if (testing::Test::HasFatalFailure())
            return;
    }
}

} // namespace support
