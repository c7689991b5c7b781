// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <climits>
#include <cstring>

#include <gas/build/gas_build_part.h>
#include <gas/build/gas_numbering.h>

inline namespace gas_abi1 {

/// The order of every build: depth first, first children first, as nodes are numbered.

/// Second children that are still to be made, the last one first. What is known of each is kept in
/// its own node's record, which nothing has written yet: no stack is needed however deep the tree
/// gets.
template <typename Numbering> class GasPendingChildren {
  public:
    explicit GasPendingChildren(Numbering& numbering) : m_nodes(numbering.get_nodes()) {}

    bool is_empty() const { return m_last == UINT_MAX; }
    void push(const GasBuildPart& part) {
        const Child child = {part.offset, part.count, part.depth, m_last};
        std::memcpy(static_cast<void*>(&m_nodes[part.node]), &child, sizeof child);
        m_last = part.node;
    }
    /// All but the bounds, and where the nodes below are numbered.
    void pop(GasBuildPart& part) {
        Child child;
        std::memcpy(&child, static_cast<const void*>(&m_nodes[m_last]), sizeof child);
        part.offset = child.offset;
        part.count = child.count;
        part.node = m_last;
        part.depth = child.depth;
        m_last = child.before;
    }

  private:
    struct Child {
        unsigned offset;
        unsigned count;
        unsigned depth;
        unsigned before;
    };
    static_assert(sizeof(Child) <= sizeof(typename Numbering::Node));

    typename Numbering::Node* m_nodes;
    unsigned m_last = UINT_MAX;
};

/// Numbers and opens the children of a part that was divided, and gives both their own parts. A
/// child of one item is made here.
template <typename Numbering, typename Items>
void gas_open_part(Numbering& numbering, const Items& items, const GasBuildPart& part,
                   GasBuildPart& first, GasBuildPart& second) {
    const unsigned depth = part.depth + 1;
    first.offset = part.offset;
    second.offset = part.offset + first.count;
    second.count = part.count - first.count;
    const GasChildren children = numbering.number_children(part.node, first.count, second.count,
                                                           items.get_item(first.offset),
                                                           items.get_item(second.offset), depth);
    numbering.keep_open(part.node, children);
    first.node = children.first;
    first.below = numbering.get_next();
    first.depth = depth;
    second.node = children.second;
    second.below = first.below + Numbering::count_below(first.count);
    second.depth = depth;
    if (first.count == 1)
        items.place(numbering, first);
    if (second.count == 1)
        items.place(numbering, second);
}

/// Makes the nodes of a part and of everything below it; some may stay open. `items` divides a part
/// (`divide(part, first, second)` sets the first one's count and both bounds), makes small ones in
/// one go (`is_small`, `build_small`), places single ones, and may keep the bounds of a pending
/// part
/// (`keep_bounds`, `restore_bounds`); `close_below_sibling` may give boxes to what stands open
/// below a pending part's sibling.
template <typename Numbering, typename Items>
void gas_build_depth_first(Numbering& numbering, Items& items, const GasBuildPart& part) {
    GasPendingChildren<Numbering> pending(numbering);
    GasBuildPart now = part;
    numbering.set_next(part.below);
    for (;;) {
        bool goes_down = false;
        if (items.is_small(now.count)) {
            items.build_small(numbering, now);
        } else {
            GasBuildPart first;
            GasBuildPart second;
            items.divide(now, first, second);
            gas_open_part(numbering, items, now, first, second);
            goes_down = first.count > 1 || second.count > 1;
            if (first.count > 1 && second.count > 1) {
                pending.push(second);
                items.keep_bounds(second);
            }
            now = first.count > 1 ? first : second;
        }
        if (goes_down)
            continue;
        if (pending.is_empty())
            return;
        pending.pop(now);
        items.restore_bounds(now);
        items.close_below_sibling(numbering, now);
    }
}

} // namespace gas_abi1
