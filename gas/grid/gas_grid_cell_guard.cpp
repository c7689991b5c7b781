// SPDX-License-Identifier: Apache-2.0
#include <gas/grid/gas_grid_cell_guard.h>

#include <cassert>
#include <mutex>
#include <utility>

#include <gas/grid/gas_grid_cells.h>

inline namespace gas_abi1 {

namespace {

/// Value 1: the lock is held while a tree is built or filled.
constexpr auto long_hint = static_cast<SysThreadLock::DurationHint>(1);

/// The guards of this thread, the newest first.
thread_local const GasGridCellGuard* newest_guard = nullptr;

} // namespace

#ifndef NDEBUG

/// All guards, those that have their locks and those that wait. A guard that has its lock keeps it
/// until the guards in front of it, of whichever threads, have had theirs.
class GasGridCellWaits {
  public:
    /// Asserts that the guard's wait comes to an end.
    static void add(GasGridCellGuard& guard) {
        const std::lock_guard<std::mutex> lock(mutex);
        guard.m_next = first;
        if (first)
            first->m_previous = &guard;
        first = &guard;
        const bool waits_for_itself = waits_for(guard, guard);
        assert(!waits_for_itself && "box callbacks do not trace into cells that wait for them");
    }

    static void note_lock(GasGridCellGuard& guard) {
        const std::lock_guard<std::mutex> lock(mutex);
        guard.m_has_lock = true;
    }

    static void remove(GasGridCellGuard& guard) {
        const std::lock_guard<std::mutex> lock(mutex);
        (guard.m_previous ? guard.m_previous->m_next : first) = guard.m_next;
        if (guard.m_next)
            guard.m_next->m_previous = guard.m_previous;
    }

  private:
    static bool stands_before(const GasGridCellGuard& guard, const GasGridCellGuard& holder) {
        const GasGridCellGuard* outer = guard.m_outer;
        while (outer && outer != &holder)
            outer = outer->m_outer;
        return outer != nullptr;
    }

    /// Whether `waiting`, which has no lock yet, gets it only after `last` has had its own.
    static bool waits_for(const GasGridCellGuard& waiting, const GasGridCellGuard& last) {
        const GasGridCellGuard* holder = first;
        while (holder && !(holder->m_has_lock && &holder->m_lock == &waiting.m_lock))
            holder = holder->m_next;
        if (!holder)
            return false;
        if (stands_before(last, *holder))
            return true;
        for (const GasGridCellGuard* guard = first; guard; guard = guard->m_next) {
            if (!guard->m_has_lock && stands_before(*guard, *holder) && waits_for(*guard, last))
                return true;
        }
        return false;
    }

    static inline std::mutex mutex;
    static inline GasGridCellGuard* first = nullptr;
};

#else

class GasGridCellWaits {
  public:
    static void add(GasGridCellGuard&) {}
    static void note_lock(GasGridCellGuard&) {}
    static void remove(GasGridCellGuard&) {}
};

#endif

GasGridCellGuard::GasGridCellGuard(const GasGridCells& cells, unsigned cell)
    : m_lock(cells.locks[cell]), m_outer(newest_guard) {
    GasGridCellWaits::add(*this);
    try {
        m_lock.lock(long_hint);
    } catch (...) {
        GasGridCellWaits::remove(*this);
        throw;
    }
    GasGridCellWaits::note_lock(*this);
    newest_guard = this;
}

GasGridCellGuard::~GasGridCellGuard() {
    newest_guard = m_outer;
    GasGridCellWaits::remove(*this);
    m_lock.unlock();
}

bool GasGridCellGuard::is_held(const GasGridCells& cells, unsigned cell) {
    const GasGridCellGuard* guard = newest_guard;
    while (guard && &guard->m_lock != &cells.locks[cell])
        guard = guard->m_outer;
    return guard != nullptr;
}

const GasGridCellGuard* GasGridCellGuard::get_newest() { return newest_guard; }

const GasGridCellGuard* GasGridCellGuard::exchange_newest(const GasGridCellGuard* guard) {
    return std::exchange(newest_guard, guard);
}

} // namespace gas_abi1
