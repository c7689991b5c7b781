// SPDX-License-Identifier: Apache-2.0
#include <gas/easy/tree_data.h>

#include <cmath>
#include <string>

#include <gas/easy/errors.h>
#include <gas/files/gas_tree_files.h>
#include <gas/scene/gas_box_padding.h>

namespace gas {
inline namespace gas_abi1 {
namespace detail {

namespace {

/// What a file keeps of a tree beside the tree, in this order.
enum Note { note_scale, note_reach, note_motion_reach };

bool is_power_of_two(double value) {
    int exponent = 0;
    return value > 0.0 && std::isfinite(value) && std::frexp(value, &exponent) == 0.5;
}

bool is_reach(double value) { return value >= 0.0 && value <= 1e30; }

template <typename SomeTree>
GasFileResult bring(const std::string& path, SomeTree& tree, FileWay way) {
    if (way == FileWay::load)
        return gas_load_tree(path.c_str(), tree);
    return way == FileWay::map ? gas_map_tree(path.c_str(), tree)
                               : gas_map_tree_trusted(path.c_str(), tree);
}

} // namespace

TreeData::TreeData(const std::string& path, FileWay way) {
    const auto expect = [](const GasFileResult& result) {
        if (!result)
            throw Error(result.text);
    };
    GasTreeFileInfo info;
    expect(gas_read_tree_info(path.c_str(), info));
    const double(&notes)[3] = info.notes.numbers;
    if (!is_power_of_two(notes[note_scale]) || !is_reach(notes[note_reach]) ||
        !is_reach(notes[note_motion_reach]) || info.has_items)
        throw Error(path + ": was not saved by this interface");
    m_options.kind = info.is_compressed ? Kind::compressed : Kind::plain;
    m_options.wide_nodes = info.wide_count > 0;
    m_options.reach = notes[note_reach];
    start(info.leaf_count);
    if (auto* const compressed = std::get_if<GasCompressedTree>(&m_tree))
        expect(bring(path, *compressed, way));
    else
        expect(bring(path, std::get<GasTree>(m_tree), way));
    set_leaf_calls();

    m_space.scale = notes[note_scale];
    m_space.reach = notes[note_reach];
    m_space.padding = gas_get_box_padding(m_space.reach);
    m_extent.bounds = get_bounds();
    m_extent.reach = gas_get_reach(to_host(m_extent.bounds));
    see(m_extent, m_space.reach);
    if (info.sample_count < 2)
        return;
    m_sample_count = info.sample_count;
    Extent extent;
    for (unsigned sample = 0; sample < m_sample_count; ++sample) {
        const GMathBbox3<float> box = find_compressed()
                                          ? find_compressed()->get_blurred_bbox(sample)
                                          : find_plain()->get_blurred_bbox(sample);
        extent.add(m_space.from_tree(box), sample);
    }
    see(extent, notes[note_motion_reach]);
}

void TreeData::save(const std::string& path) const {
    GasFileNotes notes;
    notes.numbers[note_scale] = m_space.scale;
    notes.numbers[note_reach] = m_space.reach;
    notes.numbers[note_motion_reach] = m_ray_reach;
    const GasCompressedTree* const compressed = find_compressed();
    const GasFileResult result =
        compressed ? gas_save_tree(*compressed, path.c_str(), 0, notes)
                   : gas_save_tree(expect_plain("grids are not saved"), path.c_str(), 0, notes);
    if (!result)
        throw Error(result.text);
}

} // namespace detail
} // namespace gas_abi1
} // namespace gas
