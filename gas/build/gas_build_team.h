// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <memory>

#include <gas/gas_export.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// One of the host's tasks, for a step of a build that several threads share.
class GAS_EXPORT GasBuildTask : public SysThreadTask {
  public:
    ~GasBuildTask() override;

    void run() override { call(work); }

    void (*call)(const void* work) = nullptr;
    const void* work = nullptr;
};

/// The calling thread and the host's task threads, working on one step at a time. Whoever comes
/// takes the next piece: a step is done however many of the tasks run, in whatever order.
class GAS_EXPORT GasBuildTeam {
  public:
    /// `size` threads (at least 1), the calling one among them. Throws std::bad_alloc when there is
    /// no memory; nothing later throws.
    GasBuildTeam(SysThreadTaskManager& manager, unsigned size);

    unsigned get_size() const { return m_size; }

    /// Calls `work(piece)` once for every piece below `count` and returns when all is done; what
    /// was written is then seen. `work` throws nothing. `after_own(piece)` follows on the calling
    /// thread where it did the work; what it throws passes through once the other threads are done
    /// with the pieces that they had taken.
    template <typename Work, typename AfterOwn>
    void run(unsigned count, const Work& work, const AfterOwn& after_own) {
        std::atomic<unsigned> next = 0;
        const auto take = [&next, count](unsigned& piece) {
            // Counts of pieces are small: the extra steps at the end do not wrap.
            piece = next.fetch_add(1, std::memory_order_relaxed);
            return piece < count;
        };
        const auto work_on = [&take, &work] {
            for (unsigned piece; take(piece);)
                work(piece);
        };
        using WorkOn = decltype(work_on);
        start(
            count, [](const void* step) { (*static_cast<const WorkOn*>(step))(); }, &work_on);
        try {
            for (unsigned piece; take(piece);) {
                work(piece);
                after_own(piece);
            }
        } catch (...) {
            next.store(count, std::memory_order_relaxed);
            m_manager.wait_until_completed();
            throw;
        }
        m_manager.wait_until_completed();
    }
    template <typename Work> void run(unsigned count, const Work& work) {
        run(count, work, [](unsigned) {});
    }

  private:
    void start(unsigned count, void (*call)(const void*), const void* work);

    SysThreadTaskManager& m_manager;
    unsigned m_size;
    std::unique_ptr<GasBuildTask[]> m_tasks;
};

} // namespace gas_abi1
