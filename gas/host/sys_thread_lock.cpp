// SPDX-License-Identifier: Apache-2.0
#include <gas/host/sys_thread_lock.h>

inline namespace gas_abi1 {

// Three states (Drepper, "Futexes Are Tricky", 2011): an unlock wakes a thread only when one may be
// asleep.

namespace {

constexpr unsigned unlocked = 0;
constexpr unsigned locked = 1;
constexpr unsigned contended = 2;
constexpr unsigned spin_count = 100;

bool try_lock(std::atomic<unsigned>& state) {
    unsigned expected = unlocked;
    return state.compare_exchange_strong(expected, locked, std::memory_order_acquire,
                                         std::memory_order_relaxed);
}

} // namespace

void SysThreadLock::lock(DurationHint hint) {
    if (try_lock(m_state))
        return;
    if (hint == DurationHint::instant) {
        for (unsigned spin = 0; spin < spin_count; ++spin) {
            if (m_state.load(std::memory_order_relaxed) == unlocked && try_lock(m_state))
                return;
        }
    }
    while (m_state.exchange(contended, std::memory_order_acquire) != unlocked)
        m_state.wait(contended, std::memory_order_relaxed);
}

void SysThreadLock::unlock() {
    if (m_state.exchange(unlocked, std::memory_order_release) == contended)
        m_state.notify_one();
}

} // namespace gas_abi1
