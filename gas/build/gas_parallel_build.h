// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <atomic>
#include <memory>

#include <gas/build/gas_parallel_passes.h>

inline namespace gas_abi1 {

/// A build on several threads: large parts are divided by all threads together, one after the
/// other, until there are enough for each thread to work on some of its own. A node's number
/// follows from the counts of items alone, so the nodes are those of a build on one thread.
class GasParallelBuild {
  public:
    /// Parts of up to this many items are left to one thread.
    static constexpr unsigned default_part_size = 8192;
    /// More threads than this would only take memory.
    static constexpr unsigned most_threads = 1024;

    /// Allocates all that is needed. `size` is the number of threads, the calling one included;
    /// more than `most_threads` count as that many.
    GasParallelBuild(SysThreadTaskManager& manager, unsigned size,
                     unsigned part_size = default_part_size)
        : m_team(manager, size < most_threads ? size : most_threads), m_passes(m_team),
          m_part_size(part_size), m_part_limit(parts_per_thread * m_team.get_size()),
          m_parts(new Part[m_part_limit]), m_divided(new GasBuildPart[m_part_limit]) {}

    /// As gas_make_records, for all items.
    template <typename Box>
    GasBoxFacts make_records(const Box* bboxes, unsigned count, GasRecord* records,
                             GasLaneBox& bounds) const {
        return m_passes.make_records(bboxes, count, records, bounds);
    }

    /// Makes the nodes of `whole` and everything below it; returns the deepest level. The progress
    /// bar hears of leaves, one at a time, on the calling thread.
    template <typename Numbering>
    unsigned build(typename Numbering::Node* nodes, const GasRecordBuild& items,
                   const GasBuildPart& whole, AppProgressBar* progress_bar) {
        unsigned uncounted = 0;
        Numbering numbering(nodes, whole.below, nullptr, uncounted);
        divide(numbering, items, whole);

        std::atomic<unsigned> built_leaf_count = whole.count - count_waiting_leaves();
        unsigned told_leaf_count = 0;
        const auto report = [&] {
            const unsigned leaf_count = built_leaf_count.load(std::memory_order_relaxed);
            while (progress_bar && told_leaf_count < leaf_count)
                progress_bar->increment_if_step(++told_leaf_count);
        };
        m_team.run(
            m_part_count,
            [&](unsigned i) {
                Part& part = m_parts[i];
                unsigned own_count = 0;
                Numbering own(nodes, part.below, nullptr, own_count);
                gas_build_depth_first(own, items, part);
                own.close_all();
                part.deepest = own.get_depth();
                built_leaf_count.fetch_add(part.count, std::memory_order_relaxed);
            },
            [&](unsigned) { report(); });
        report();
        unsigned depth = numbering.get_depth();
        for (unsigned i = 0; i < m_part_count; ++i)
            depth = m_parts[i].deepest > depth ? m_parts[i].deepest : depth;
        numbering.close_all();
        return depth;
    }

    /// After a build: calls `work(part)` for the parts that each went to one thread, by all
    /// threads, and returns when all is done. `work` throws nothing.
    template <typename Work> void for_each_part(const Work& work) {
        m_team.run(m_part_count, [&](unsigned i) { work(m_parts[i]); });
    }
    /// The nodes above those parts, parents first.
    const GasBuildPart* get_divided_parts() const { return m_divided.get(); }
    unsigned get_divided_count() const { return m_divided_count; }

    GasBuildTeam& get_team() { return m_team; }

  private:
    static constexpr unsigned parts_per_thread = 8;

    struct Part : GasBuildPart {
        unsigned deepest;
    };

    /// Divides the largest part until there are enough; leaves them sorted, largest first.
    template <typename Numbering>
    void divide(Numbering& numbering, const GasRecordBuild& items, const GasBuildPart& whole) {
        m_part_count = 0;
        m_divided_count = 0;
        insert(whole);
        while (m_part_count > 0 && m_part_count < m_part_limit && m_divided_count < m_part_limit) {
            const GasBuildPart part = m_parts[0];
            if (part.count <= m_part_size || items.is_small(part.count))
                break;
            GasBuildPart first;
            GasBuildPart second;
            items.divide_with(m_passes, part, first, second);
            numbering.set_next(part.below);
            gas_open_part(numbering, items, part, first, second);
            m_divided[m_divided_count++] = part;
            --m_part_count;
            std::copy(&m_parts[1], &m_parts[1] + m_part_count, &m_parts[0]);
            insert(first);
            insert(second);
        }
    }

    /// A part of one item was made when its parent was divided.
    void insert(const GasBuildPart& part) {
        if (part.count == 1 && m_divided_count > 0)
            return;
        unsigned place = m_part_count++;
        for (; place > 0 && m_parts[place - 1].count < part.count; --place)
            m_parts[place] = m_parts[place - 1];
        static_cast<GasBuildPart&>(m_parts[place]) = part;
    }

    unsigned count_waiting_leaves() const {
        unsigned count = 0;
        for (unsigned i = 0; i < m_part_count; ++i)
            count += m_parts[i].count;
        return count;
    }

    GasBuildTeam m_team;
    GasParallelPasses m_passes;
    unsigned m_part_size;
    unsigned m_part_limit;
    unsigned m_part_count = 0;
    std::unique_ptr<Part[]> m_parts;
    unsigned m_divided_count = 0;
    std::unique_ptr<GasBuildPart[]> m_divided;
};

/// Makes the nodes of a tree over `count` boxes, by `parallel` or, where that is null, on the
/// calling thread; sets the deepest level. `records` and `numbers` are scratch, one for each box.
/// Nothing is made, and the answer says so, where a centre is a NaN.
template <typename Numbering, typename Box>
GasBoxFacts gas_build_from_records(typename Numbering::Node* nodes, const Box* bboxes,
                                   unsigned count, GasBuildMethod method, GasRecord* records,
                                   unsigned* numbers, AppProgressBar* progress_bar,
                                   GasParallelBuild* parallel, unsigned& depth) {
    GasBuildPart whole = {0, count, 0, 1, 1, GasLaneBox::get_empty()};
    const GasBoxFacts facts = parallel
                                  ? parallel->make_records(bboxes, count, records, whole.bounds)
                                  : gas_make_records(bboxes, 0, count, records, whole.bounds);
    if (!facts.is_comparable)
        return facts;
    GasRecordBuild items(method, records, numbers);
    if (parallel) {
        depth = parallel->build<Numbering>(nodes, items, whole, progress_bar);
        return facts;
    }
    unsigned built_leaf_count = 0;
    Numbering numbering(nodes, whole.below, progress_bar, built_leaf_count);
    gas_build_depth_first(numbering, items, whole);
    numbering.close_all();
    depth = numbering.get_depth();
    return facts;
}

} // namespace gas_abi1
