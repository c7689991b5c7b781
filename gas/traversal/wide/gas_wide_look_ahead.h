// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/traversal/query/gas_bound_history.h>
#include <gas/traversal/wide/gas_wide_push.h>

inline namespace gas_abi1 {

/// The rest of a walk of wide nodes, for a ray whose bound stays and that is hardly stopped:
/// nothing that a leaf's callback does changes what is reached, so that several of the nodes that
/// come next are tested before the first leaf is called. Their boxes arrive together, and no test
/// waits for another.

/// Takes the nodes on top of the stack, as far as no leaf comes before them, and puts what the ray
/// reaches of them in their place. Returns the new size.
///
/// The entries of a frame's stack, 5 for each of the tree's `depth` levels, suffice: several nodes
/// are taken only where the stack then holds at most 3 for each level, and one after the other they
/// leave behind at most 2 more for each.
template <typename Boxes, typename Probe>
unsigned gas_expand_front(const Boxes& boxes, const GasWideRay& ray, const SimdF& limit,
                          GasWideEntry* entries, unsigned size, std::size_t depth, Probe probe) {
    constexpr unsigned most_taken = 8;
    constexpr unsigned width = GasWideNode::width;
    constexpr unsigned spare = width; // written, but not counted
    const std::size_t room = (width - 1) * depth;
    GasWideEntry taken[most_taken];
    unsigned count = 0;
    do
        taken[count++] = entries[--size];
    while (count < most_taken && size > 0 && !entries[size - 1].is_leaf() &&
           size + width * (std::size_t{count} + 1) + spare <= room);
    while (count > 0) {
        probe.visit_node();
        size += gas_push_wide(boxes, ray, limit, taken[--count].reference, entries + size);
    }
    return size;
}

/// Goes on with a walk whose `size` pending entries are `entries`, until its end or until the
/// query is stopped; the rest is as in gas_walk_wide_nodes.
template <typename Boxes, typename Query, typename Tree, typename CallLeaf, typename Resume,
          typename Probe>
GAS_NO_INLINE void gas_look_ahead(Boxes boxes, GasWideRay ray, SimdF limit, GasWideEntry* entries,
                                  unsigned size, const Tree& tree, Query query,
                                  GasBoundHistory<Query> history, CallLeaf call_leaf, Resume resume,
                                  Probe probe) {
    static_assert(!Query::follows_bound, "what is tested ahead stays as it is");
    while (size > 0) {
        const GasWideEntry top = entries[size - 1];
        if (!top.is_leaf()) {
            size = gas_expand_front(boxes, ray, limit, entries, size, tree.get_depth(), probe);
            continue;
        }
        --size;
        if (query.visit_leaf(tree, top.get_leaf(), call_leaf))
            return;
        if (!gas_follow_or_resume(
                query, history, [](double) {}, resume))
            return;
    }
    query.finish();
}

} // namespace gas_abi1
