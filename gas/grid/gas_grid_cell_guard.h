// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/host.h>

inline namespace gas_abi1 {

struct GasGridCells;

/// Holds a cell's lock, and records that this thread does. A debug build also knows which guards
/// wait for which locks, and asserts where these would wait for each other: box callbacks traced
/// into each other's cells, which breaks the contract.
class GasGridCellGuard {
  public:
    GasGridCellGuard(const GasGridCells& cells, unsigned cell);
    GasGridCellGuard(const GasGridCellGuard&) = delete;
    GasGridCellGuard& operator=(const GasGridCellGuard&) = delete;
    ~GasGridCellGuard();

    /// Whether this thread already holds the cell's lock, so that locking again is a deadlock: a
    /// box callback traced into the cell that it was called for, which breaks the contract.
    static bool is_held(const GasGridCells& cells, unsigned cell);

    /// The newest guard of this thread, behind which the others stand; null for none.
    static const GasGridCellGuard* get_newest();
    /// Makes this thread's guards those of a thread that waits for it, or its own again; returns
    /// those that it had.
    static const GasGridCellGuard* exchange_newest(const GasGridCellGuard* guard);

  private:
    friend class GasGridCellWaits;

    SysThreadLock& m_lock;
    const GasGridCellGuard* m_outer;
#ifndef NDEBUG
    // The list of all threads' guards, and whether this one has its lock.
    GasGridCellGuard* m_next = nullptr;
    GasGridCellGuard* m_previous = nullptr;
    bool m_has_lock = false;
#endif
};

} // namespace gas_abi1
