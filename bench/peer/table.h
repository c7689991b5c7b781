// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace gas_peer {

/// A contender's figure in a row.
struct Entry {
    double value;
    /// How many times as good as this the row's first entry is, or, in a table of tree classes, how
    /// many times as good as the first entry this is; NaN in the first, or where none compares.
    double ratio;
    /// The contender, where an entry is the best of several.
    std::string who;
};

/// An operation: an entry for each column of its table.
struct Row {
    std::string operation;
    std::string unit;
    std::vector<Entry> entries;
};

/// What was measured on one scene or, in the anatomy, for one query.
struct Section {
    std::string scene;
    /// 0 where there is no single scene.
    unsigned item_count;
    std::vector<Row> rows;
};

/// One of the tables that the program prints.
struct Table {
    /// A word, for use by other programs.
    std::string key;
    std::string title;
    std::vector<std::string> columns;
    std::vector<Section> sections;
    /// Whether a row means the same in all sections, so that its ratios have a mean and a floor.
    bool has_summary = true;
};

/// A column's ratios for one operation, over all scenes.
struct Summary {
    std::string operation;
    /// Geometric mean.
    double mean;
    /// The smallest, and where.
    double floor;
    std::string floor_scene;
};

/// Scene and count, as `uniform/1000000`; the name alone where there is no count.
std::string get_label(const Section& section);

/// In the order in which operations first appear; those without ratios are left out. Empty for a
/// table without a summary.
std::vector<Summary> summarise(const Table& table, std::size_t column);

void print_section(std::FILE* file, const Table& table, const Section& section);
/// Mean and floor of all ratios, a part for each column.
void print_summary(std::FILE* file, const Table& table);

} // namespace gas_peer
