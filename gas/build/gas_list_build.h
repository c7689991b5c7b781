#pragma once

#include <gas/build/gas_depth_first.h>
#include <gas/split/gas_split_context.h>

inline namespace gas_abi1 {

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
