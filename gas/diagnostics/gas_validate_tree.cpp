// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include <gas/diagnostics/gas_validate_arrays.h>
#include <gas/diagnostics/gas_wide_check.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

namespace {

bool is_leaf(const GasTreeNode& node) { return (node.flags & GasTreeNode::leaf_flag) != 0; }

/// The boxes of all nodes, where the nodes are right: as built, or those of a sample. `get(node)`
/// is a node's box; `bboxes`, where they are known, are the items'.
template <typename Get>
GasNodeBoxFacts validate_boxes_of_nodes(const GasTreeArrays& arrays,
                                        const GMathBbox3<float>* bboxes, const Get& get,
                                        GasFlawList& flaws) {
    GasNodeBoxFacts facts;
    for (unsigned i = 0; i < arrays.get_node_count(); ++i) {
        const GasTreeNode& node = arrays.nodes[i];
        const GasLaneBox box = get(i);
        if (is_leaf(node)) {
            facts.add_leaf(box);
            if (bboxes && !gas_is_same_box(box, GasLaneBox::load(bboxes[node.index])))
                flaws.add("node ", i, ": the box is not that of its item ", node.index);
            continue;
        }
        GasLaneBox both = get(node.index);
        both.unite(get(node.index + 1));
        if (!gas_is_same_box(box, both))
            flaws.add("node ", i, ": the box is not the union of those of its children, the nodes ",
                      node.index, " and ", node.index + 1);
    }
    return facts;
}

void validate_order_codes(const GasTreeArrays& arrays, GasFlawList& flaws) {
    for (unsigned i = 0; i < arrays.get_node_count(); ++i) {
        const GasTreeNode& node = arrays.nodes[i];
        if (is_leaf(node))
            continue;
        const unsigned code = (node.flags & GasTreeNode::order_mask) >> GasTreeNode::order_shift;
        if (gas_traversal_order(code, gas_load_box(arrays.nodes[node.index]),
                                gas_load_box(arrays.nodes[node.index + 1])) != code)
            flaws.add("node ", i, ": the order code is not that of its children");
    }
}

/// Whether a tree says of its boxes what they are. One that says less is right, but slower.
void validate_facts(bool is_said, bool is_so, const char* where, GasFlawList& flaws) {
    if (is_said != is_so)
        flaws.add(where, is_said ? "not all boxes are ordered, as the tree says they are"
                                 : "the boxes are ordered, and the tree says they are not");
}

void validate_sample(const GasTreeArrays& arrays, const GasValidateSettings& settings,
                     unsigned sample, GasFlawList& flaws) {
    const GasFlawList::Place place(flaws, "sample ", sample);
    const GMathBbox3<float>* const boxes = arrays.samples[sample];
    const GasNodeBoxFacts facts = validate_boxes_of_nodes(
        arrays, settings.sample_bboxes ? settings.sample_bboxes[sample] : nullptr,
        [boxes](unsigned node) { return GasLaneBox::load(boxes[node]); }, flaws);
    if (arrays.are_samples_ordered && arrays.are_samples_ordered[sample])
        validate_facts(true, facts.are_ordered(), "", flaws);
}

/// `name` is what the nodes of the check are called.
template <typename Check>
void validate_wide(Check& check, unsigned count, const char* name, GasFlawList& flaws) {
    GasLoneThread lone;
    gas_check_wide(check, count, lone, [&](GasWideFlaw flaw, unsigned i) {
        flaws.add(name, i,
                  flaw == GasWideFlaw::links ? ": it does not stand for nodes of the tree"
                                             : ": a box is not that of its node");
        return true;
    });
}

void validate_wide_nodes(const GasTreeArrays& arrays, GasFlawList& flaws) {
    const std::uint64_t before = flaws.get_count();
    GasWideCheck check(arrays);
    validate_wide(check, arrays.wide_count, "wide node ", flaws);
    for (unsigned i = 1; i < arrays.wide_count && flaws.get_count() == before; ++i) {
        if (!check.is_used(i))
            flaws.add("wide node ", i, ": no other one refers to it");
    }
    if (arrays.wide_samples.get_sample_count() > 0 && flaws.get_count() == before) {
        GasWideSampleCheck sample_check(arrays);
        validate_wide(sample_check, arrays.wide_count, "samples of wide node ", flaws);
    }
}

} // namespace

void GasNodeReport::find(GasNodeFlaw flaw, unsigned node, unsigned other) {
    switch (flaw) {
    case GasNodeFlaw::lone_leaf:
        return m_flaws.add("node 0: it is not a leaf for item 0, as that of one item is");
    case GasNodeFlaw::children:
        return m_flaws.add("node ", node, ": its children are not nodes behind it");
    case GasNodeFlaw::flags:
        return m_flaws.add("node ", node, ": it has unknown flags");
    case GasNodeFlaw::order_code:
        return m_flaws.add("node ", node, ": the order code names no axis");
    case GasNodeFlaw::leaf_flags:
        return m_flaws.add("node ", node, ": a leaf below it has unknown flags");
    case GasNodeFlaw::missing_item:
        return m_flaws.add("node ", node, ": a leaf below it stands for item ", other,
                           ", which there is not");
    case GasNodeFlaw::second_leaf:
        return m_flaws.add("node ", node, ": a leaf below it stands for item ", other,
                           ", as another leaf does");
    case GasNodeFlaw::second_parent:
        return m_flaws.add("node ", node, ": its child, node ", other, ", has another parent");
    case GasNodeFlaw::unreached_nodes:
        return m_flaws.add("inner nodes that are not reached: ", other);
    case GasNodeFlaw::depth:
        return m_flaws.add("the tree says another depth than it has, which is ", other);
    case GasNodeFlaw::none:
        return;
    }
}

void gas_validate(const GasTreeArrays& arrays, const GasValidateSettings& settings,
                  GasFlawList& flaws) {
    GasPlainNodeReader read(arrays);
    if (!gas_validate_nodes(arrays, flaws, read))
        return;
    const GasNodeBoxFacts facts = validate_boxes_of_nodes(
        arrays, settings.bboxes, [&](unsigned node) { return gas_load_box(arrays.nodes[node]); },
        flaws);
    validate_order_codes(arrays, flaws);
    validate_facts(arrays.are_boxes_ordered, facts.are_ordered() && facts.are_centered(), "",
                   flaws);
    for (unsigned sample = 0; sample < arrays.sample_count; ++sample) {
        if (arrays.samples[sample])
            validate_sample(arrays, settings, sample, flaws);
    }
    if (!arrays.wide_nodes)
        return;
    validate_facts(arrays.are_wide_boxes_ordered, facts.are_ordered(), "wide nodes: ", flaws);
    validate_wide_nodes(arrays, flaws);
}

std::vector<std::string> gas_validate(const GasTree& tree, const GasValidateSettings& settings) {
    GasFlawList flaws(settings.max_count);
    if (tree.is_empty()) {
        if (tree.get_leaf_count() != 0 || tree.get_node_count() != 0)
            flaws.add("an empty tree has leaves");
        return flaws.take();
    }
    GasTreeArrays arrays = GasTreeArrays::of(tree);
    if (tree.get_node_count() != arrays.get_node_count()) {
        flaws.add("the tree has ", tree.get_node_count(), " nodes, not ", arrays.get_node_count());
        return flaws.take();
    }
    const std::unique_ptr<bool[]> are_ordered(new bool[arrays.sample_count + 1]());
    for (unsigned sample = 0; sample < arrays.sample_count; ++sample)
        are_ordered[sample] = GasTreeArrays::is_sample_walked(tree, sample);
    arrays.are_samples_ordered = are_ordered.get();
    gas_validate(arrays, settings, flaws);
    return flaws.take();
}

} // namespace gas_abi1
