// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <gas/isa/gas_instruction_set.h>

#include <tests/mirror/mirrored_grid.h>
#include <tests/mirror/mirrored_rays.h>
#include <tests/nasty/nasty_boxes.h>
#include <tests/support/ray_histories.h>

/// The table of what traces: trees, build methods, ways and instruction sets.
namespace nasty {

using support::Handing;
using support::RayQuery;

enum class Kind { plain, compressed, grid };
inline constexpr Kind all_kinds[] = {Kind::plain, Kind::compressed, Kind::grid};

inline const char* name(Kind kind) {
    constexpr const char* names[] = {"plain", "compressed", "grid"};
    return names[static_cast<unsigned>(kind)];
}

/// A way of tracing a batch.
struct Way {
    const char* name;
    Handing handing;
    /// Over wide nodes, which plain trees alone have.
    bool is_wide;
};
inline constexpr Way all_ways[] = {
    {"one by one", Handing::alone, false},      {"packets", Handing::together, false},
    {"stream", Handing::stream, false},         {"wide, one by one", Handing::alone, true},
    {"wide, packets", Handing::together, true}, {"wide stream", Handing::stream, true}};

/// Calls `visit()` with each instruction set that this machine has, or with the one whose turn it
/// is; the one in use before is in use again at the end.
template <typename Visit> void for_each_instruction_set(unsigned turn, const Visit& visit) {
    const GasInstructionSet before = gas_get_instruction_set();
    for (unsigned i = 0; i < 2; ++i) {
        const auto set = static_cast<GasInstructionSet>((turn + i) % 2);
        if (!gas_set_instruction_set(set))
            continue;
        visit();
        if (!is_full_product())
            break;
    }
    gas_set_instruction_set(before);
}

/// Calls `visit(set, split)` for box sets with the build methods, or the one whose turn it is.
template <typename Visit> void for_each_build(const Visit& visit) {
    for (unsigned i = 0; i < all_box_sets().size(); ++i) {
        for (unsigned method = 0; method < 4; ++method) {
            const naive::Split split = naive::all_splits[(i + method) % 4];
            visit(all_box_sets()[i], split);
            if (testing::Test::HasFatalFailure())
                return;
            if (!is_full_product())
                break;
        }
    }
}

/// A tree of one of the classes, and its naive double.
class Subject {
  public:
    explicit Subject(Kind kind, float open = 0.0f, float close = 1.0f)
        : m_kind(kind), m_grid(CtxMotionBlur(open, close, 0)), m_motion(open, close, 0) {}

    support::MirroredTree& get() {
        if (m_kind == Kind::grid)
            return m_grid;
        return m_kind == Kind::plain ? static_cast<support::MirroredTree&>(m_plain) : m_compressed;
    }

    void build(const std::vector<Box>& boxes, naive::Split split,
               const std::vector<std::vector<Box>>& samples = {}) {
        const unsigned count = static_cast<unsigned>(boxes.size());
        const unsigned targets[] = {1, 1 + count / 4, count, 60};
        m_grid.set_target(targets[static_cast<unsigned>(split)]);
        get().build(boxes, split, {}, samples);
        m_motion = CtxMotionBlur(m_motion.get_shutter_open(), m_motion.get_shutter_close(),
                                 static_cast<unsigned>(samples.size()));
    }

    const CtxMotionBlur& get_motion() const { return m_motion; }
    bool has_way(const Way& way) const { return m_kind == Kind::plain || !way.is_wide; }
    void set_wide(bool wanted) {
        if (m_kind == Kind::plain)
            m_plain.get_library().set_wide_nodes(wanted);
    }

    /// The tree differs from its double; empty when it does not.
    std::string find_difference() {
        if (m_kind == Kind::grid) {
            m_grid.reach_all_cells();
            return m_grid.find_tree_difference();
        }
        return m_kind == Kind::plain ? m_plain.find_tree_difference()
                                     : m_compressed.find_tree_difference();
    }
    /// The boxes of leaves as rays see them, by item; empty for a grid.
    std::vector<Box> get_leaf_boxes() const {
        if (m_kind == Kind::grid)
            return {};
        if (m_kind == Kind::plain)
            return m_plain.get_boxes();
        const naive::CompressedTree& tree = m_compressed.get_reference();
        std::vector<Box> boxes = naive::decoded_boxes(tree);
        boxes.erase(boxes.begin(), boxes.begin() + tree.node_count);
        return boxes;
    }

  private:
    Kind m_kind;
    support::MirroredPlainTree m_plain;
    support::MirroredCompressedTree m_compressed;
    support::MirroredGrid m_grid;
    CtxMotionBlur m_motion;
};

} // namespace nasty
