// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/compressed/gas_compressed_tree_arrays.h>
#include <gas/core/gas_lane_box.h>
#include <gas/diagnostics/gas_flaw_list.h>
#include <gas/diagnostics/gas_node_check.h>
#include <gas/diagnostics/gas_validate.h>
#include <gas/gas_export.h>
#include <gas/tree/gas_tree_arrays.h>

inline namespace gas_abi1 {

/// gas_validate of arrays that are no tree yet, whatever stands in them, as long as they are as
/// long as they say. `are_samples_ordered` may be null.
GAS_EXPORT void gas_validate(const GasTreeArrays& arrays, const GasValidateSettings& settings,
                             GasFlawList& flaws);
GAS_EXPORT void gas_validate(const GasCompressedTreeArrays& arrays,
                             const GasValidateSettings& settings, GasFlawList& flaws);

/// Tells each flaw of a node in words.
class GasNodeReport {
  public:
    explicit GasNodeReport(GasFlawList& flaws) : m_flaws(flaws) {}

    static bool is_enough() { return false; }
    void find(GasNodeFlaw flaw, unsigned node, unsigned other);

  private:
    GasFlawList& m_flaws;
};

/// Walks the nodes; false: something is wrong with them.
template <typename Reader, typename Arrays>
bool gas_validate_nodes(const Arrays& arrays, GasFlawList& flaws, Reader& read) {
    const std::uint64_t before = flaws.get_count();
    GasNodeReport report(flaws);
    GasLoneThread lone;
    GasNodeCheck<Reader, GasNodeReport, GasLoneThread> check(arrays, report, lone);
    check.run();
    read = check.get_reader();
    for (unsigned item = 0; flaws.get_count() > before && arrays.leaf_count > 1; ++item) {
        if (item == arrays.leaf_count)
            return false;
        if (!check.is_leaf_met(item))
            flaws.add("item ", item, ": no leaf that is reached stands for it");
    }
    return flaws.get_count() == before;
}

/// Whether all coordinates are equal, where zeros of both signs are, and NaNs.
inline bool gas_is_same_box(const GasLaneBox& first, const GasLaneBox& second) {
    const auto is_same = [](const SimdF& a, const SimdF& b) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            const float x = a.get(axis);
            const float y = b.get(axis);
            if (!(x == y || (x != x && y != y)))
                return false;
        }
        return true;
    };
    return is_same(first.min, second.min) && is_same(first.max, second.max);
}

} // namespace gas_abi1
