// SPDX-License-Identifier: Apache-2.0
#include <gas/host/sys_thread_lock.h>

#include <version>

#if !defined(__linux__) && !defined(_LIBCPP_VERSION)
#include <condition_variable>
#include <cstdint>
#include <mutex>
#endif

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

#if defined(__linux__) || defined(_LIBCPP_VERSION)

void sleep_while_contended(std::atomic<unsigned>& state) {
    state.wait(contended, std::memory_order_relaxed);
}
void wake(std::atomic<unsigned>& state) { state.notify_one(); }

#else

// Where there are no futexes, waits of libstdc++ 12 miss a wake that comes before they sleep.

/// Where threads wait for the locks whose addresses have one remainder.
struct WaitSlot {
    std::mutex mutex;
    std::condition_variable woken;

    static WaitSlot& of(const std::atomic<unsigned>& state) {
        constexpr unsigned count = 64;
        static WaitSlot slots[count];
        return slots[reinterpret_cast<std::uintptr_t>(&state) / sizeof state % count];
    }
};

void sleep_while_contended(std::atomic<unsigned>& state) {
    WaitSlot& slot = WaitSlot::of(state);
    std::unique_lock<std::mutex> guard(slot.mutex);
    // An unlock that comes from here on finds the mutex taken until this thread sleeps.
    if (state.load(std::memory_order_relaxed) == contended)
        slot.woken.wait(guard);
}
void wake(std::atomic<unsigned>& state) {
    WaitSlot& slot = WaitSlot::of(state);
    const std::lock_guard<std::mutex> guard(slot.mutex);
    slot.woken.notify_all(); // of several locks
}

#endif

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
        sleep_while_contended(m_state);
}

void SysThreadLock::unlock() {
    if (m_state.exchange(unlocked, std::memory_order_release) == contended)
        wake(m_state);
}

} // namespace gas_abi1
