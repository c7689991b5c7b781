// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/trees/traced_tree.h>

#include <chrono>
#include <type_traits>

#include <apps/common/user_error.h>

namespace gas_app {

namespace {

void expect_done(const GasFileResult& result) {
    if (!result)
        throw UserError(result.text);
}

std::string describe_samples(unsigned count) {
    return count < 2 ? "no motion samples" : std::to_string(count) + " motion samples";
}

} // namespace

template <typename Tree>
void TracedTree::map_tree(Tree& tree, const std::string& path, const GasFileSettings& settings) {
    const auto start = std::chrono::steady_clock::now();
    if constexpr (std::is_same_v<Tree, GasGridTree>)
        throw UserError(path + ": a grid is not mapped");
    else
        expect_done(gas_map_tree(path.c_str(), tree, settings));
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    m_build_seconds = seconds.count();
    m_is_loaded = true;
}

/// The tree of the settings' file, where it is over these boxes and has the items' samples.
void TracedTree::map_tree_over(const ItemBoxes& boxes, const TreeSettings& settings) {
    const std::string& path = settings.saved_path;
    GasTreeFileInfo info;
    expect_done(gas_read_tree_info(path.c_str(), info));
    const unsigned item_count = m_items.get().item_count;
    if (info.leaf_count != item_count)
        throw UserError(path + ": holds a tree over " + std::to_string(info.leaf_count) +
                        " items, not over " + std::to_string(item_count));
    const unsigned sample_count = m_items.get().sample_count < 2 ? 0 : m_items.get().sample_count;
    if (info.sample_count != sample_count)
        throw UserError(path + ": holds a tree with " + describe_samples(info.sample_count) +
                        ", not with " + describe_samples(sample_count));
    const std::uint64_t hash = gas_hash_boxes(&boxes[0], item_count);
    std::visit([&](auto& tree) { map_tree(tree, path, {hash, settings.thread_count}); }, m_tree);
    if (auto* const plain = std::get_if<GasTree>(&m_tree); plain && !settings.has_wide_nodes)
        plain->set_wide_nodes(false);
}

void TracedTree::load(const std::string& path, const TreeSettings& settings) {
    GasTreeFileInfo info;
    expect_done(gas_read_tree_info(path.c_str(), info));
    if (info.is_compressed)
        m_tree.emplace<GasCompressedTree>();
    else
        m_tree.emplace<GasTree>();
    std::visit([&](auto& tree) { map_tree(tree, path, {0, settings.thread_count}); }, m_tree);
}

void TracedTree::save(const std::string& path) const {
    const ItemBoxes boxes = get_built_boxes();
    const std::uint64_t hash = gas_hash_boxes(&boxes[0], boxes.get_count());
    if (const auto* const plain = std::get_if<GasTree>(&m_tree))
        expect_done(gas_save_tree(*plain, path.c_str(), hash));
    else
        expect_done(gas_save_tree(std::get<GasCompressedTree>(m_tree), path.c_str(), hash));
}

} // namespace gas_app
