#pragma once

#include <array>
#include <string_view>

namespace gas_app {

/// Which class of the library holds the boxes.
enum class TreeKind {
    plain,     ///< GasTree
    compressed ///< GasCompressedTree
};

/// Their names on the command line, in the order of their values.
inline constexpr std::array<std::string_view, 2> tree_kind_names = {"plain", "compressed"};

inline std::string_view get_name(TreeKind kind) {
    return tree_kind_names[static_cast<unsigned>(kind)];
}

/// How the trees of a scene are built, beside the method, which is the application's.
struct TreeSettings {
    TreeKind kind = TreeKind::plain;
    /// Whether to find out how much memory a build takes.
    bool measures_memory = false;
};

} // namespace gas_app
