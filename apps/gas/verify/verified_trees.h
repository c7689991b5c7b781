// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <apps/gas/trees/traced_tree.h>
#include <apps/gas/verify/verified_scene.h>

namespace gas_app {

/// A file in the folder of temporary files, with a name that no other has; removed at the end. What
/// is mapped stays.
class TemporaryFile {
  public:
    TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    const std::string& get_path() const { return m_path; }

  private:
    std::string m_path;
};

/// Where the tree of a verification comes from.
enum class TreeOrigin {
    built,
    built_anew, ///< for each batch of rays, which build its cells
    loaded,     ///< saved, and read into memory
    mapped      ///< saved, and used where it lies
};

/// What a verification builds of each scene by each build method.
struct VerifiedKind {
    static constexpr unsigned none = ~0u;

    const char* name;
    TreeKind kind;
    bool has_wide_nodes;
    TreeOrigin origin;
    /// The kind, an earlier one, whose trees make the very same calls; `none`: no other does.
    unsigned like;

    /// Whether nothing but its origin differs from the kind that it is like.
    bool is_copy() const { return origin != TreeOrigin::built; }
};

inline constexpr std::array<VerifiedKind, 9> verified_kinds = {{
    {"plain", TreeKind::plain, false, TreeOrigin::built, VerifiedKind::none},
    {"plain, wide nodes", TreeKind::plain, true, TreeOrigin::built, 0},
    {"compressed", TreeKind::compressed, true, TreeOrigin::built, VerifiedKind::none},
    {"grid", TreeKind::grid, true, TreeOrigin::built, VerifiedKind::none},
    {"grid, new for each batch", TreeKind::grid, true, TreeOrigin::built_anew, 3},
    {"plain, wide nodes, loaded", TreeKind::plain, true, TreeOrigin::loaded, 1},
    {"plain, wide nodes, mapped", TreeKind::plain, true, TreeOrigin::mapped, 1},
    {"compressed, loaded", TreeKind::compressed, true, TreeOrigin::loaded, 2},
    {"compressed, mapped", TreeKind::compressed, true, TreeOrigin::mapped, 2},
}};

/// A tree, whose callbacks are those of VerifiedRays.
class VerifiedTree {
  public:
    using AnyTree = TracedTree::AnyTree;

    VerifiedTree(const VerifiedScene& scene, unsigned method, const VerifiedKind& kind);

    const AnyTree& get() const { return m_read ? *m_read : m_traced.get_tree(); }

  private:
    template <typename Tree> void read(const std::string& path, bool is_mapped);

    /// Of the build method; a grid asks it for the bars of its cells.
    AppBase m_application{nullptr};
    TracedTree m_traced;
    /// Of a loaded or mapped tree; there is none else.
    std::optional<AnyTree> m_read;
};

/// The trees of a scene, each made when it is first asked for, by any thread.
class VerifiedTrees {
  public:
    explicit VerifiedTrees(const VerifiedScene& scene) : m_scene(scene) {}

    const VerifiedScene& get_scene() const { return m_scene; }
    /// `kind`: a number of `verified_kinds` that is not built anew.
    const VerifiedTree::AnyTree& get(unsigned method, unsigned kind);

  private:
    struct Place {
        std::once_flag once;
        std::unique_ptr<VerifiedTree> tree;
    };

    const VerifiedScene& m_scene;
    Place m_places[build_method_names.size()][verified_kinds.size()];
};

} // namespace gas_app
