// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cassert>

#include <gas/compressed/gas_box_codec.h>
#include <gas/compressed/gas_compressed_tree.h>
#include <gas/core/gas_lane_box.h>
#include <gas/traversal/single/gas_ray_nodes.h>

inline namespace gas_abi1 {

/// Node sources of GasCompressedTree for single rays: they keep the current node's decoded box at
/// hand and those of pending nodes at their place in the stack, without slots.

/// One set of boxes on the way down: the current node's, and its children's once it is expanded.
class GasDecodedBoxes {
  public:
    GasDecodedBoxes() = default;
    explicit GasDecodedBoxes(const GMathBbox3<float>& root)
        : m_current(GasLaneBox::load(root)),
          m_finite(gas_find_finite_lanes(m_current.min, m_current.max)) {}

    void decode(const unsigned char* bytes) {
        gas_decode_box_pair(bytes, m_current.min, m_current.max, m_finite, m_children);
    }
    const GasBoxPair& get_children() const { return m_children; }

    template <unsigned child> void move_to_child() {
        m_current.min = child == 0 ? m_children.first.min : m_children.second.min;
        m_current.max = child == 0 ? m_children.first.max : m_children.second.max;
    }
    template <unsigned child> void store_child(GasBbox& bbox) const {
        (child == 0 ? m_children.first.min : m_children.second.min).store(bbox.min);
        (child == 0 ? m_children.first.max : m_children.second.max).store(bbox.max);
    }
    void load(const GasBbox& bbox) { m_current = GasLaneBox::load(bbox); }

  private:
    GasLaneBox m_current;
    SimdF m_finite;
    GasBoxPair m_children;
};

/// The walk down the tree's records, whichever boxes go with it.
class GasCompressedPosition {
  public:
    explicit GasCompressedPosition(const GasCompressedTree& tree)
        : m_nodes(tree.get_nodes()), m_node(tree.get_root_index()) {}

    bool is_leaf() const { return m_is_leaf; }
    unsigned get_node() const { return m_node; }
    const GasCompressedNode& get_record() const { return m_nodes[m_node]; }

    void expand() {
        const GasCompressedNode& record = get_record();
        m_children[0] = record.children[0];
        m_children[1] = record.children[1];
        m_child_flags = record.flags;
    }
    template <unsigned child> void move_to_child() {
        m_node = m_children[child];
        m_is_leaf = is_child_a_leaf<child>();
    }
    template <unsigned child> void push_child(GasStackEntry& entry) const {
        entry.node = m_children[child];
        entry.extra = is_child_a_leaf<child>();
    }
    void pop(const GasStackEntry& entry) {
        m_node = entry.node;
        m_is_leaf = entry.extra != 0;
    }

  private:
    template <unsigned child> bool is_child_a_leaf() const {
        return (m_child_flags & GasCompressedNode::first_leaf << child) != 0;
    }

    const GasCompressedNode* m_nodes;
    unsigned m_node;
    unsigned m_child_flags = 0;
    unsigned m_children[2] = {0, 0};
    bool m_is_leaf = false;
};

/// The boxes of the built tree.
class GasCompressedStaticNodes {
  public:
    static constexpr bool is_motion = false;
    static constexpr bool checks_cached_leaf = false;

    GasCompressedStaticNodes(const GasCompressedTree& tree, GasTreeCtx& ctx, const CtxShader&,
                             float)
        : m_position(tree), m_boxes(tree.get_bbox()) {
        ctx.reserve_decoded_boxes(2 * std::size_t{tree.get_depth()});
        m_stacked_boxes = ctx.decoded_boxes;
    }

    bool is_ready() const { return true; }
    bool is_leaf() const { return m_position.is_leaf(); }
    unsigned get_leaf() const { return m_position.get_node(); }

    void expand(GasBoxPair& boxes) {
        m_position.expand();
        m_boxes.decode(m_position.get_record().get_bytes());
        boxes = m_boxes.get_children();
    }
    template <unsigned child> void move_to_child() {
        m_position.move_to_child<child>();
        m_boxes.move_to_child<child>();
    }
    template <unsigned child> void push_child(GasStackEntry& entry, unsigned position) const {
        m_position.push_child<child>(entry);
        m_boxes.store_child<child>(m_stacked_boxes[position]);
    }
    void pop(const GasStackEntry& entry, unsigned position) {
        m_position.pop(entry);
        m_boxes.load(m_stacked_boxes[position]);
    }
    template <unsigned child> void drop_child() const {}
    void drop() const {}

  private:
    GasCompressedPosition m_position;
    GasDecodedBoxes m_boxes;
    GasBbox* m_stacked_boxes;
};

/// The boxes of two neighbouring motion-blur samples, each decoded on its own and blended to the
/// ray's time where the ray is tested. The tree has at least two samples.
class GasCompressedMotionNodes {
  public:
    static constexpr bool is_motion = true;
    static constexpr bool checks_cached_leaf = false;

    GasCompressedMotionNodes(const GasCompressedTree& tree, GasTreeCtx& ctx,
                             const CtxShader& shader, float time)
        : m_blend(shader, time, tree.get_motion_blur_sample_count()), m_position(tree),
          m_earlier_records(tree.get_motion_blur_records(m_blend.sample)),
          m_later_records(tree.get_motion_blur_records(m_blend.sample + 1)) {
        m_earlier = GasDecodedBoxes(tree.get_blurred_bbox(m_blend.sample));
        m_later = GasDecodedBoxes(tree.get_blurred_bbox(m_blend.sample + 1));
        // Two boxes for each pending node.
        ctx.reserve_decoded_boxes(4 * std::size_t{tree.get_depth()});
        m_stacked_boxes = ctx.decoded_boxes;
    }

    bool is_ready() const { return m_earlier_records && m_later_records; }
    bool is_leaf() const { return m_position.is_leaf(); }
    unsigned get_leaf() const { return m_position.get_node(); }

    void expand(GasBoxPair& boxes) {
        m_position.expand();
        const std::size_t offset = m_position.get_node() * sizeof(GasQuantizedPair);
        m_earlier.decode(m_earlier_records + offset);
        m_later.decode(m_later_records + offset);
        const GasBoxPair& earlier = m_earlier.get_children();
        const GasBoxPair& later = m_later.get_children();
        boxes.first = {m_blend(earlier.first.min, later.first.min),
                       m_blend(earlier.first.max, later.first.max)};
        boxes.second = {m_blend(earlier.second.min, later.second.min),
                        m_blend(earlier.second.max, later.second.max)};
    }
    template <unsigned child> void move_to_child() {
        m_position.move_to_child<child>();
        m_earlier.move_to_child<child>();
        m_later.move_to_child<child>();
    }
    template <unsigned child> void push_child(GasStackEntry& entry, unsigned position) const {
        m_position.push_child<child>(entry);
        m_earlier.store_child<child>(m_stacked_boxes[2 * std::size_t{position}]);
        m_later.store_child<child>(m_stacked_boxes[2 * std::size_t{position} + 1]);
    }
    void pop(const GasStackEntry& entry, unsigned position) {
        m_position.pop(entry);
        m_earlier.load(m_stacked_boxes[2 * std::size_t{position}]);
        m_later.load(m_stacked_boxes[2 * std::size_t{position} + 1]);
    }
    template <unsigned child> void drop_child() const {}
    void drop() const {}

  private:
    GasSampleBlend m_blend;
    GasCompressedPosition m_position;
    const unsigned char* m_earlier_records;
    const unsigned char* m_later_records;
    GasDecodedBoxes m_earlier;
    GasDecodedBoxes m_later;
    GasBbox* m_stacked_boxes;
};

template <> struct GasNodeSources<GasCompressedTree> {
    using Static = GasCompressedStaticNodes;
    using Motion = GasCompressedMotionNodes;
};

} // namespace gas_abi1
