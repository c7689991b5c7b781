// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <gas/host/sys_thread_lock.h>

namespace {

using Hint = SysThreadLock::DurationHint;

TEST(SysThreadLockOfTheReferenceHost, TakesFourBytes) { EXPECT_EQ(sizeof(SysThreadLock), 4u); }

TEST(SysThreadLockOfTheReferenceHost, HintOneStandsForAPieceOfWork) {
    EXPECT_EQ(static_cast<Hint>(1), Hint::task);
}

} // namespace
