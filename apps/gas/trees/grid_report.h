// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <nlohmann/json_fwd.hpp>

#include <apps/gas/report/tree_statistics.h>
#include <apps/gas/trees/traced_tree.h>

namespace gas_app {

/// A shape's grid before a picture is rendered, when no cell has a tree, and after.
struct GridEntry {
    std::string name;
    const TracedTree* tree = nullptr;
    GridStatistics before;
    GridStatistics after;

    GridEntry(std::string entry_name, const TracedTree& traced_tree)
        : name(std::move(entry_name)), tree(&traced_tree), before(look()) {}
    void look_again() { after = look(); }

    nlohmann::ordered_json as_json() const;
    void print_text() const;

  private:
    GridStatistics look() const {
        return get_grid_statistics(std::get<GasGridTree>(tree->get_tree()));
    }
};

} // namespace gas_app
