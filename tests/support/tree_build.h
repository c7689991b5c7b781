#pragma once

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/host/host.h>
#include <gas/tree/gas_tree.h>

#include <tests/naive/naive_tree.h>
#include <tests/support/box_conversion.h>

namespace support {

constexpr naive::Split all_splits[] = {naive::Split::median, naive::Split::hybrid,
                                       naive::Split::sah_fast, naive::Split::sah};

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

/// Builds `tree` over `boxes` by the build method `split`; `indices` is empty or has one entry per
/// box.
inline void build(GasTree& tree, const std::vector<naive::Box>& boxes,
                  naive::Split split = naive::Split::sah_fast,
                  const std::vector<unsigned>& indices = {}) {
    QuietProgress progress(split);
    tree.create(to_boxes(boxes), indices.empty() ? nullptr : indices.data(), &progress.bar, 1.0f);
}
inline void build(GasCompressedTree& tree, const std::vector<naive::Box>& boxes,
                  naive::Split split = naive::Split::sah_fast,
                  const std::vector<unsigned>& indices = {}) {
    QuietProgress progress(split);
    tree.create(to_boxes(boxes), indices.empty() ? nullptr : indices.data(), &progress.bar);
}

} // namespace support
