// SPDX-License-Identifier: Apache-2.0
#include <bench/peer/table.h>

#include <algorithm>
#include <cmath>

namespace gas_peer {

namespace {

constexpr int operation_width = 40;

/// With digits that suit the size of the figure.
std::string format_value(double value) {
    const int digits = std::abs(value) >= 1000.0 ? 0 : std::abs(value) >= 100.0 ? 1 : 2;
    char text[32];
    std::snprintf(text, sizeof(text), "%.*f", digits, value);
    return std::isnan(value) ? "-" : text;
}

std::string format_ratio(double ratio) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.2f", ratio);
    return std::isnan(ratio) ? "-" : text;
}

} // namespace

std::string get_label(const Section& section) {
    if (section.item_count == 0)
        return section.scene;
    return section.scene + "/" + std::to_string(section.item_count);
}

std::vector<Summary> summarise(const Table& table, std::size_t column) {
    if (!table.has_summary)
        return {};
    std::vector<Summary> summaries;
    std::vector<unsigned> counts;
    for (const Section& section : table.sections) {
        for (const Row& row : section.rows) {
            if (column >= row.entries.size() || std::isnan(row.entries[column].ratio))
                continue;
            const double ratio = row.entries[column].ratio;
            auto found =
                std::find_if(summaries.begin(), summaries.end(), [&row](const Summary& summary) {
                    return summary.operation == row.operation;
                });
            if (found == summaries.end()) {
                found = summaries.insert(found, {row.operation, 0.0, ratio, get_label(section)});
                counts.push_back(0);
            }
            // Sums of logarithms, until all are there.
            found->mean += std::log(ratio);
            ++counts[static_cast<std::size_t>(found - summaries.begin())];
            if (ratio < found->floor) {
                found->floor = ratio;
                found->floor_scene = get_label(section);
            }
        }
    }
    for (std::size_t i = 0; i < summaries.size(); ++i)
        summaries[i].mean = std::exp(summaries[i].mean / counts[i]);
    return summaries;
}

void print_section(std::FILE* file, const Table& table, const Section& section) {
    std::fprintf(file, "\n%s\n%-*s%-11s", table.title.c_str(), operation_width,
                 get_label(section).c_str(), "unit");
    for (std::size_t i = 0; i < table.columns.size(); ++i)
        std::fprintf(file, i == 0 ? "%12s" : "%12s   ratio", table.columns[i].c_str());
    std::fprintf(file, "\n");
    for (const Row& row : section.rows) {
        std::fprintf(file, "%-*s%-11s", operation_width, row.operation.c_str(), row.unit.c_str());
        for (std::size_t i = 0; i < row.entries.size(); ++i) {
            const Entry& entry = row.entries[i];
            std::fprintf(file, "%12s", format_value(entry.value).c_str());
            if (i > 0)
                std::fprintf(file, "%8s", format_ratio(entry.ratio).c_str());
        }
        if (!row.entries.empty() && !row.entries.back().who.empty())
            std::fprintf(file, "  %s", row.entries.back().who.c_str());
        std::fprintf(file, "\n");
    }
    std::fflush(file);
}

void print_summary(std::FILE* file, const Table& table) {
    for (std::size_t column = 1; column < table.columns.size(); ++column) {
        const std::vector<Summary> summaries = summarise(table, column);
        if (summaries.empty())
            continue;
        std::fprintf(file, "\n%s: %s\n%-*s%8s%8s\n", table.title.c_str(),
                     table.columns[column].c_str(), operation_width, "", "mean", "floor");
        for (const Summary& summary : summaries)
            std::fprintf(file, "%-*s%8.2f%8.2f  %s\n", operation_width, summary.operation.c_str(),
                         summary.mean, summary.floor, summary.floor_scene.c_str());
    }
    std::fflush(file);
}

} // namespace gas_peer
