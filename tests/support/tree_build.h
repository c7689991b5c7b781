// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/host/host.h>
#include <gas/tree/gas_tree.h>

#include <tests/naive/naive_tree.h>
#include <tests/support/box_conversion.h>

namespace support {

using naive::all_splits;

inline const char* name(naive::Split split) {
    constexpr const char* names[] = {"median", "hybrid", "sah_fast", "sah"};
    return names[static_cast<unsigned>(split)];
}

inline GasTree::SplitCallback split_function(naive::Split split) {
    constexpr GasTree::SplitCallback functions[] = {GasTree::split_median, GasTree::split_hybrid,
                                                    GasTree::split_sah_bins_fast,
                                                    GasTree::split_sah_bins};
    return functions[static_cast<unsigned>(split)];
}

/// A progress bar that draws nothing, of an application with a build method setting.
struct QuietProgress {
    explicit QuietProgress(unsigned build_method) : app(nullptr), bar(app, "", false, nullptr) {
        app.set_build_method(build_method);
    }
    explicit QuietProgress(naive::Split split) : QuietProgress(static_cast<unsigned>(split)) {}

    AppBase app;
    AppProgressBar bar;
};

inline constexpr GasBuildMethod all_build_methods[] = {
    GasBuildMethod::median, GasBuildMethod::hybrid, GasBuildMethod::sah_fast, GasBuildMethod::sah};

/// `create` of either class; a bar, if any, is filled whole.
template <typename Boxes>
void create(GasTree& tree, const Boxes& boxes, const unsigned* indices = nullptr,
            AppProgressBar* progress_bar = nullptr) {
    tree.create(boxes, indices, progress_bar, 1.0f);
}
template <typename Boxes>
void create(GasCompressedTree& tree, const Boxes& boxes, const unsigned* indices = nullptr,
            AppProgressBar* progress_bar = nullptr) {
    tree.create(boxes, indices, progress_bar);
}
inline void create_of(GasTree& tree, const GMathBbox3<float>* boxes, const unsigned& count,
                      const unsigned* indices = nullptr) {
    tree.create(boxes, count, indices, nullptr, 1.0f);
}
inline void create_of(GasCompressedTree& tree, const GMathBbox3<float>* boxes,
                      const unsigned& count, const unsigned* indices = nullptr) {
    tree.create(boxes, count, indices, nullptr);
}

/// Builds `tree` over `boxes` by the build method `split`; `indices` is empty or has one entry per
/// box.
template <typename Tree>
void build(Tree& tree, const std::vector<naive::Box>& boxes,
           naive::Split split = naive::Split::sah_fast, const std::vector<unsigned>& indices = {}) {
    QuietProgress progress(split);
    create(tree, to_boxes(boxes), indices.empty() ? nullptr : indices.data(), &progress.bar);
}

} // namespace support
