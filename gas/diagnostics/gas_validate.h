// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <gas/gas_export.h>
#include <gas/gas_forward.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// What is wrong with boxes or trees, a sentence each, such as "item 17: the box has a NaN (min
/// y)". No build looks for it, so that none pays for it: for tests, for debugging, and for data
/// from elsewhere. Nothing is changed, and any number of threads may ask at once, beside queries
/// too; of a grid, beside queries that are not in motion. A failed allocation throws
/// std::bad_alloc.

struct GasValidateSettings {
    /// The boxes that the tree was built over or last refitted to, one for each leaf, which its
    /// own are then held against; null: they are not known. Grids ask for theirs and take none.
    const GMathBbox3<float>* bboxes = nullptr;
    /// The same for each motion-blur sample of the tree; null ones are not known, as all are where
    /// this is null.
    const GMathBbox3<float>* const* sample_bboxes = nullptr;
    /// So many sentences at most; where there are more, one that counts them follows.
    unsigned max_count = 20;
};

/// Boxes before they are given to `create`, `refit` and the like, all of which take whatever there
/// is. What follows from a box of each kind:
///
/// * NaN: no box test of the item is reliable, nor of any node above it, so that rays miss others,
///   too; a grid leaves the item out, as it does one that is infinite both ways. The whole tree is
///   built on one thread, slowly; wide nodes, streams and best-first walks are not used.
/// * min above max: rays miss the item, mostly, since nothing lies in its box; wide nodes and
///   best-first walks are not used.
/// * infinite: nodes above are tested by every ray, and costs of splits are infinite, so that the
///   tree is a bad one. A compressed tree is coarse along that axis; the closest item is found by
///   trying all.
///
/// Of doubles, what is beyond all floats is infinite.
GAS_EXPORT std::vector<std::string> gas_validate_boxes(const GMathBbox3<float>* bboxes,
                                                       unsigned count, unsigned max_count = 20);
GAS_EXPORT std::vector<std::string> gas_validate_boxes(const GMathBbox3<double>* bboxes,
                                                       unsigned count, unsigned max_count = 20);

/// Trees. Whatever the library makes is right, over any boxes: what is told is memory that was
/// overwritten, a trusted file that was damaged, other boxes than those of the build, and, of
/// compressed trees, boxes outside of their working range.
///
/// Every node and every item is reached once, children stand behind their parents, and as deep as
/// the tree says; boxes are the unions of those below, order codes those of the children, and so in
/// each filled sample; wide nodes and their samples are those of the binary nodes. Where nodes lead
/// nowhere, the rest is not looked at.
GAS_EXPORT std::vector<std::string> gas_validate(const GasTree& tree,
                                                 const GasValidateSettings& settings = {});
/// As above. Boxes that are decoded contain the items', if these are given, up to rounding errors
/// outside of the working range, which are told; without them there is no telling.
GAS_EXPORT std::vector<std::string> gas_validate(const GasCompressedTree& tree,
                                                 const GasValidateSettings& settings = {});
/// The tree over the cells, and those of the cells that were built: their items, nodes, and boxes,
/// which have to lie in those of the cells.
GAS_EXPORT std::vector<std::string> gas_validate(const GasGridTree& grid,
                                                 const GasValidateSettings& settings = {});

} // namespace gas_abi1
