// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include <gas/host/host_export.h>

inline namespace gas_abi1 {

/// A lock of four bytes, for structures with very many of them. Not recursive: taking it twice on
/// one thread is a deadlock. What was written before `unlock` is seen after the next `lock`.
class GAS_HOST_EXPORT SysThreadLock {
  public:
    /// How long the lock is expected to be held.
    enum class DurationHint {
        instant = 0, ///< a few instructions: waiting spins for a while first
        task = 1     ///< as long as a piece of work: waiting sleeps at once
    };

    SysThreadLock() = default;
    SysThreadLock(const SysThreadLock&) = delete;
    SysThreadLock& operator=(const SysThreadLock&) = delete;

    void lock(DurationHint hint);
    void unlock();

  private:
    std::atomic<unsigned> m_state{0};
};

} // namespace gas_abi1
