// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <apps/gas/page/page_mesh.h>
#include <apps/gas/page/tree_boxes.h>

namespace gas_app {

// What a report tells of a mesh, of a scene, or of a saved tree.

/// A picture as the bytes of a PNG file.
struct ReportPicture {
    unsigned width = 0;
    unsigned height = 0;
    std::vector<unsigned char> png;
};

/// Where the rays of a picture went: one colour for each step of a scale from 0 to `scale_end`.
struct ReportMap {
    static constexpr unsigned step_count = 64;

    std::string title;
    std::string unit;
    std::string note;
    double scale_end = 1.0;
    double mean = 0.0;
    double largest = 0.0;
    ReportPicture picture;
};

/// A tree of a part.
struct ReportTree {
    std::string name;
    TreeKind kind = TreeKind::plain;
    bool is_saved = false;
    std::vector<TreeLevel> levels;
    double sah_cost = 0.0;
    double mean_leaf_depth = 0.0;
    /// Empty: the boxes of this tree are not shown.
    std::vector<ShownLevel> shown;
};

/// A shape, or the instances of a scene.
struct ReportPart {
    std::string name;
    std::uint64_t item_count = 0;
    /// Nothing where items are not known.
    std::optional<PageMesh> mesh;
    std::vector<ReportTree> trees;
};

/// A way of building trees, with what was measured over all of them.
struct ReportRow {
    struct Memory {
        std::uint64_t nodes = 0;
        std::uint64_t wide_nodes = 0;
        /// All, with lists and motion samples.
        std::uint64_t total = 0;
    };
    /// Million rays a second.
    struct Rates {
        std::string instruction_set;
        /// Camera rays, on one thread: tracing alone.
        double single = 0.0;
        double packets = 0.0;
        double streams = 0.0;
        /// All rays of a picture, with shading, on all threads.
        double picture = 0.0;
    };

    std::string name;
    TreeKind kind = TreeKind::plain;
    std::string build_method;
    bool has_wide_nodes = false;
    bool is_saved = false;
    /// In the trees of each part.
    unsigned tree = 0;
    double build_seconds = 0.0;
    /// Of each part.
    std::vector<Memory> memory;
    Memory whole;
    /// Of a camera ray, where rays were traced.
    std::optional<double> nodes_per_ray;
    std::optional<double> leaf_calls_per_ray;
    std::vector<Rates> rates;
};

struct ReportSubject {
    std::string name;
    std::uint64_t item_count = 0;
    std::size_t instance_count = 0;
    /// What is not shown as it is, in sentences.
    std::vector<std::string> notes;
    std::optional<ReportPicture> picture;
    std::vector<ReportMap> maps;
    std::vector<ReportPart> parts;
    /// Of each part's trees the one that is shown first.
    std::size_t main_tree = 0;
    std::vector<ReportRow> rows;
};

} // namespace gas_app
