// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <vector>

#include <gas/compressed/gas_compressed_boxes.h>
#include <gas/compressed/gas_compressed_tree.h>
#include <gas/diagnostics/gas_validate_arrays.h>

inline namespace gas_abi1 {

namespace {

using HostBox = GMathBbox3<float>;

/// The pairs of boxes of a compressed tree's nodes: as built, or of a sample.
class PairCheck {
  public:
    /// `get_bytes(node)` are the seven bytes of a node's pair; `root` is the root's box. `bboxes`
    /// are the items' or null.
    template <typename GetBytes>
    PairCheck(const GasCompressedTreeArrays& arrays, const HostBox& root, const HostBox* bboxes,
              const GetBytes& get_bytes, GasFlawList& flaws)
        : m_arrays(arrays), m_root(root), m_bboxes(bboxes), m_flaws(flaws) {
        for (unsigned i = 0; i < arrays.get_node_count(); ++i) {
            if (get_bytes(i)[owners_at] >> 6 != 0)
                m_flaws.add("node ", i, ": its boxes have unknown owners");
        }
        if (m_bboxes && arrays.leaf_count > 1)
            compare(get_bytes);
        else if (m_bboxes && !gas_is_same_box(GasLaneBox::load(root), GasLaneBox::load(bboxes[0])))
            m_flaws.add("the tree's box is not that of its item 0");
    }

    /// The nodes' exact boxes, where the items' are known.
    const std::vector<HostBox>& get_exact() const { return m_exact; }

  private:
    static constexpr unsigned owners_at = 3;
    static_assert(offsetof(GasQuantizedPair, owners) == owners_at);

    template <typename GetBytes> void compare(const GetBytes& get_bytes) {
        const unsigned count = m_arrays.get_node_count();
        m_exact.resize(count);
        gas_compute_node_boxes(m_arrays.nodes, 0, count, m_bboxes, m_exact.data());
        if (!gas_is_same_box(GasLaneBox::load(m_root), GasLaneBox::load(m_exact[0])))
            m_flaws.add("the tree's box is not the union of those of its items");
        std::vector<HostBox> decoded(count);
        decoded[0] = m_root;
        for (unsigned i = 0; i < count; ++i) {
            const GasCompressedNode& node = m_arrays.nodes[i];
            const GasLaneBox parent = GasLaneBox::load(decoded[i]);
            // Eight are read, and samples' records may end with the seventh.
            unsigned char bytes[sizeof(GasQuantizedPair) + 1] = {};
            std::memcpy(bytes, get_bytes(i), sizeof(GasQuantizedPair));
            GasBoxPair pair;
            gas_decode_box_pair(bytes, parent.min, parent.max, pair);
            for (unsigned child = 0; child < 2; ++child) {
                const HostBox box = (child ? pair.second : pair.first).to_box();
                const unsigned reference = node.children[child];
                if (node.flags >> child & 1)
                    expect_within(m_bboxes[reference], box, i, reference);
                else
                    decoded[reference] = box;
            }
        }
    }

    /// A box that is inverted or a NaN lies in no other.
    void expect_within(const HostBox& box, const HostBox& decoded, unsigned node, unsigned item) {
        const GasLaneBox inner = GasLaneBox::load(box);
        const GasLaneBox outer = GasLaneBox::load(decoded);
        if (((inner.min <= inner.max).get_mask() & 7) != 7)
            return;
        const int beyond = ((inner.min < outer.min) | (outer.max < inner.max)).get_mask() & 7;
        if (beyond != 0)
            m_flaws.add("node ", node, ": the decoded box of item ", item, " does not contain the",
                        " item's, along ",
                        (beyond & 1)   ? "x"
                        : (beyond & 2) ? "y"
                                       : "z");
    }

    const GasCompressedTreeArrays& m_arrays;
    const HostBox& m_root;
    const HostBox* m_bboxes;
    GasFlawList& m_flaws;
    std::vector<HostBox> m_exact;
};

void validate_order_codes(const GasCompressedTreeArrays& arrays, const HostBox* bboxes,
                          const std::vector<HostBox>& exact, GasFlawList& flaws) {
    for (unsigned i = 0; i < exact.size(); ++i) {
        const GasCompressedNode& node = arrays.nodes[i];
        const unsigned code =
            (node.flags & GasCompressedNode::order_mask) >> GasCompressedNode::order_shift;
        GasLaneBox first;
        GasLaneBox second;
        gas_load_child_boxes(node, bboxes, exact.data(), first, second);
        if (gas_traversal_order(code, first, second) != code)
            flaws.add("node ", i, ": the order code is not that of its children");
    }
}

/// Of two items or more: best-first walks rely on it.
void validate_facts(const GasCompressedTreeArrays& arrays, const HostBox* bboxes,
                    GasFlawList& flaws) {
    if (!bboxes || arrays.leaf_count < 2)
        return;
    GasNodeBoxFacts facts;
    for (unsigned item = 0; item < arrays.leaf_count; ++item)
        facts.add_leaf(GasLaneBox::load(bboxes[item]));
    if (arrays.are_boxes_ordered != (facts.are_ordered() && facts.are_centered()))
        flaws.add(arrays.are_boxes_ordered
                      ? "not all boxes are ordered, as the tree says they are"
                      : "the boxes are ordered, and the tree says they are not");
}

} // namespace

void gas_validate(const GasCompressedTreeArrays& arrays, const GasValidateSettings& settings,
                  GasFlawList& flaws) {
    GasCompressedNodeReader read(arrays);
    if (!gas_validate_nodes(arrays, flaws, read))
        return;
    const PairCheck check(
        arrays, arrays.bbox, settings.bboxes,
        [&](unsigned node) { return arrays.nodes[node].get_bytes(); }, flaws);
    validate_order_codes(arrays, settings.bboxes, check.get_exact(), flaws);
    validate_facts(arrays, settings.bboxes, flaws);
    for (unsigned sample = 0; sample < arrays.sample_count; ++sample) {
        const unsigned char* const records = arrays.samples[sample];
        if (!records || arrays.leaf_count == 1)
            continue;
        const GasFlawList::Place place(flaws, "sample ", sample);
        PairCheck(
            arrays, arrays.sample_bboxes[sample],
            settings.sample_bboxes ? settings.sample_bboxes[sample] : nullptr,
            [&](unsigned node) { return records + node * sizeof(GasQuantizedPair); }, flaws);
    }
}

std::vector<std::string> gas_validate(const GasCompressedTree& tree,
                                      const GasValidateSettings& settings) {
    GasFlawList flaws(settings.max_count);
    if (tree.is_empty()) {
        if (tree.get_leaf_count() != 0 || tree.get_root_index() != GasCompressedTree::no_root)
            flaws.add("an empty tree has leaves or a root");
        return flaws.take();
    }
    const GasCompressedTreeArrays arrays = GasCompressedTreeArrays::of(tree);
    if (tree.get_node_count() != arrays.get_node_count() || tree.get_root_index() != 0)
        flaws.add("the tree has ", tree.get_node_count(), " nodes from node ",
                  tree.get_root_index(), " on, not ", arrays.get_node_count(), " from node 0 on");
    else
        gas_validate(arrays, settings, flaws);
    return flaws.take();
}

} // namespace gas_abi1
