// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/verify/verified_trees.h>

#include <atomic>
#include <filesystem>
#include <system_error>

#include <unistd.h>

#include <apps/common/user_error.h>
#include <apps/gas/verify/verified_rays.h>

namespace gas_app {

TemporaryFile::TemporaryFile() {
    static std::atomic<unsigned> count{0};
    const std::string name =
        "gas_verify_" + std::to_string(::getpid()) + "_" + std::to_string(++count) + ".gastree";
    m_path = (std::filesystem::temp_directory_path() / name).string();
}

TemporaryFile::~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(m_path, ignored);
}

VerifiedTree::VerifiedTree(const VerifiedScene& scene, unsigned method, const VerifiedKind& kind) {
    m_application.set_build_method(method);
    m_traced.set_callbacks(VerifiedRays::call_item, VerifiedRays::call_item, nullptr);
    TreeSettings settings;
    settings.kind = kind.kind;
    settings.has_wide_nodes = kind.has_wide_nodes;
    // More than one: the same tree.
    settings.thread_count = kind.has_wide_nodes ? 2 : 1;
    settings.has_cell_bars = true; // which carry the build method
    settings.cell_count = scene.get_item_count() / 40;
    AppProgressBar& bar = *m_application.create_progress_bar("Building", false);
    m_traced.build(scene.describe(), settings, bar, 1.0f);
    bar.finish();
    bar.release();
    if (kind.origin != TreeOrigin::loaded && kind.origin != TreeOrigin::mapped)
        return;
    const TemporaryFile file;
    m_traced.save(file.get_path());
    if (kind.kind == TreeKind::plain)
        read<GasTree>(file.get_path(), kind.origin == TreeOrigin::mapped);
    else
        read<GasCompressedTree>(file.get_path(), kind.origin == TreeOrigin::mapped);
}

template <typename Tree> void VerifiedTree::read(const std::string& path, bool is_mapped) {
    Tree& tree = m_read.emplace().emplace<Tree>();
    const GasFileResult result =
        is_mapped ? gas_map_tree(path.c_str(), tree) : gas_load_tree(path.c_str(), tree);
    if (!result)
        throw UserError(result.text);
    tree.set_leaf_raytrace_callbacks(VerifiedRays::call_item, VerifiedRays::call_item, nullptr);
}

const VerifiedTree::AnyTree& VerifiedTrees::get(unsigned method, unsigned kind) {
    Place& place = m_places[method][kind];
    std::call_once(place.once, [&] {
        place.tree = std::make_unique<VerifiedTree>(m_scene, method, verified_kinds[kind]);
    });
    return place.tree->get();
}

} // namespace gas_app
