#pragma once

#include <climits>

#include <gas/build/gas_record.h>
#include <gas/build/gas_record_partition.h>

inline namespace gas_abi1 {

/// Builds trees from records: the same nodes that GasTree::recurse_split and compute_bboxes make
/// with the public split functions, bit by bit, as long as no centre is a NaN.

/// How nodes are divided; the values are those of the build method setting.
enum class GasBuildMethod { median = 0, hybrid = 1, sah_fast = 2, sah = 3 };

/// A node still to be made: its share of the records, its number, the first number of the nodes
/// below it (a node of n items has 2n - 2), its level, and the bounds of its records' centres. So
/// parts can be worked on in any order, and on any thread.
struct GasBuildPart {
    unsigned offset;
    unsigned count;
    unsigned node;
    unsigned below;
    unsigned depth;
    GasLaneBounds bounds;
};

/// Nodes of up to this many items are built in one go; fewer where nothing but the median counts.
inline constexpr unsigned gas_small_count = 16;
inline unsigned gas_get_small_count(GasBuildMethod method) {
    return method == GasBuildMethod::median ? 2 : gas_small_count;
}

/// What one thread of a build works with; parts that it works on overlap nobody else's.
struct GasRecordBuild {
    GasBuildMethod method;
    GasTreeNode* nodes;
    GasRecord* records;
    /// One number per record, scratch.
    unsigned* numbers;
    /// Told of each leaf; may be null.
    AppProgressBar* progress_bar = nullptr;
    unsigned built_leaf_count = 0;
    /// The deepest level so far.
    unsigned depth = 0;
    /// The inner node made last that has no box yet; each holds the one before in its box.
    unsigned last_open = UINT_MAX;
};

/// What is known of all boxes of a range.
struct GasBoxFacts {
    /// No centre is a NaN.
    bool is_comparable;
    /// Nor is a box inside out.
    bool is_ordered;
};

/// Makes the records of a range of items; grows the bounds of their centres.
GasBoxFacts gas_make_records(const GMathBbox3<float>* bboxes, unsigned first, unsigned count,
                             GasRecord* records, GasLaneBounds& bounds);

/// Two halves of a part's records, with the bounds of their centres.
struct GasDivision {
    unsigned left_count;
    GasLaneBounds left;
    GasLaneBounds right;
};

/// Makes the node of a part that is divided, which stays open, and its two children's parts.
void gas_open_node(GasRecordBuild& build, const GasBuildPart& part, const GasDivision& division,
                   GasBuildPart& first, GasBuildPart& second);

/// Makes the nodes of a part and of everything below it; some stay open.
void gas_build_part(GasRecordBuild& build, const GasBuildPart& part);

/// Builds a part of at most `gas_get_small_count` items, boxes included.
void gas_build_small(GasRecordBuild& build, const GasBuildPart& part);

/// Gives open nodes their boxes: all that were opened after `last_open`, or all.
void gas_close_nodes(GasRecordBuild& build, unsigned last_open = UINT_MAX);

} // namespace gas_abi1
