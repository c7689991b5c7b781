// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <bench/peer/answer_check.h>
#include <bench/peer/contender.h>
#include <bench/peer/table.h>

namespace gas_peer {

struct MeasureSettings {
    unsigned repetition_count;
    unsigned ray_count;
    /// Parts of names; an operation whose name has none of them is left out. Empty: all are in.
    std::vector<std::string> operations;
};

enum class Unit {
    nanoseconds_per_item,
    million_rays_per_second,
    nanoseconds_per_ray,
    milliseconds
};

/// The place of a group of contenders beside the first.
enum class Groups {
    rows,    ///< a row of its own, named after it, with the fastest of the group
    columns, ///< the next column of the one row
};

/// Measures operations on one scene and keeps the rows.
class RowMaker {
  public:
    /// All arguments outlive this. Rays with answers that are not explained are added to
    /// `unexplained_count`.
    RowMaker(const MeasureSettings& settings, Section& section, unsigned& unexplained_count)
        : m_settings(settings), m_section(section), m_unexplained_count(unexplained_count) {}

    /// Whether an operation of that name is asked for.
    bool wants(const std::string& operation) const;
    const MeasureSettings& get_settings() const { return m_settings; }
    const Section& get_section() const { return m_section; }

    /// The contenders' times in seconds, in their order. Compares the answers of the others with
    /// those of the first by `check` (null: there are none).
    std::vector<double> measure_times(const std::string& operation,
                                      const std::vector<Contender>& contenders,
                                      const AnswerCheck* check);
    /// Measures the contenders' times for `amount` items or rays, and keeps them as rows.
    void add_times(const std::string& operation, Unit unit, double amount,
                   const std::vector<Contender>& contenders, const AnswerCheck* check,
                   Groups groups);
    /// A row of figures, of which less is better; NaN where there is none.
    void add_figures(const std::string& operation, const std::string& unit,
                     const std::vector<double>& figures, Groups groups);
    /// The last row with each figure divided by the binary logarithm of the item count: constant
    /// where an operation's cost grows with the depth of trees.
    void add_last_by_depth();

  private:
    void report(const std::string& operation, const Contender& contender,
                const Differences& differences);
    void add_groups(const std::string& operation, Unit unit, double amount,
                    const std::vector<Contender>& contenders, const std::vector<double>& times,
                    Groups groups);

    const MeasureSettings& m_settings;
    Section& m_section;
    unsigned& m_unexplained_count;
};

} // namespace gas_peer
