// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <new>
#include <numeric>

#include <gas/build/gas_build_input.h>
#include <gas/build/gas_depth_first.h>
#include <gas/core/gas_numeric.h>
#include <gas/split/gas_split_context.h>

inline namespace gas_abi1 {

/// The boxes and centres that a tree's split functions read, and the list of all items.
template <GasSplitContext Context> class GasListInput {
  public:
    /// `items` has room for `count` items; it and `bboxes` outlive this. `has_workspace`: whether
    /// the split function needs one.
    template <typename Box>
    GasListInput(const Box* bboxes, unsigned count, unsigned* items, bool has_workspace,
                 AppProgressBar* progress_bar)
        : m_narrow(nullptr, sys_aligned_free),
          m_centers(gas_allocate_scratch<GMathVec3<float>>(count)),
          m_workspace(m_centers.get()), m_context{gas_get_float_boxes(bboxes, count, m_narrow),
                                                  m_centers.get(),
                                                  has_workspace ? &m_workspace : nullptr,
                                                  progress_bar, 0} {
        std::iota(items, items + count, 0u);
        for (unsigned i = 0; i < count; ++i)
            new (&m_centers[i]) GMathVec3<float>(gas_box_center(m_context.bboxes[i]));
    }
    GasListInput(const GasListInput&) = delete;
    GasListInput& operator=(const GasListInput&) = delete;

    Context& get_context() { return m_context; }

  private:
    GasScratchArray<GMathBbox3<float>> m_narrow;
    GasScratchArray<GMathVec3<float>> m_centers;
    GasSahWorkspace m_workspace;
    Context m_context;
};

/// Items in a list, divided by a split function: how trees are defined, and how they are built
/// where a centre is a NaN, for then the order of unions counts. Boxes come later.
template <GasSplitContext Context, typename SplitCallback> class GasListBuild {
  public:
    GasListBuild(const Context& context, SplitCallback split, unsigned* items)
        : m_context(context), m_split(split), m_items(items) {}

    unsigned get_item(unsigned offset) const { return m_items[offset]; }
    static bool is_small(unsigned count) { return count <= 1; }

    /// Two items are not asked for, and a one-sided answer is replaced by halves.
    void divide(const GasBuildPart& part, GasBuildPart& first, GasBuildPart&) const {
        first.count = 1;
        if (part.count == 2)
            return;
        m_split(m_context, m_items + part.offset, part.count, first.count);
        if (first.count == 0 || first.count >= part.count)
            first.count = part.count / 2;
    }
    template <typename Numbering>
    void build_small(Numbering& numbering, const GasBuildPart& part) const {
        place(numbering, part);
    }
    template <typename Numbering> void place(Numbering& numbering, const GasBuildPart& part) const {
        numbering.place_item(part.node, m_items[part.offset]);
    }
    template <typename Numbering>
    static void close_below_sibling(Numbering&, const GasBuildPart&) {}
    static void keep_bounds(const GasBuildPart&) {}
    static void restore_bounds(const GasBuildPart&) {}

  private:
    const Context& m_context;
    SplitCallback m_split;
    unsigned* m_items;
};

} // namespace gas_abi1
