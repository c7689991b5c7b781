// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <gas/build/gas_build_team.h>
#include <gas/compressed/gas_compressed_tree_arrays.h>
#include <gas/files/gas_file_format.h>
#include <gas/tree/gas_tree_arrays.h>

inline namespace gas_abi1 {

/// What no file may say, or a walk would leave the arrays or never end. Each returns what is wrong,
/// or null, and reads everything once.
///
/// Every section against its checksum; `bytes` are the whole file.
const char* gas_check_sums(const GasFileTable& table, const char* bytes, GasBuildTeam& team);
/// The sections that do not match theirs.
std::vector<const GasFileSection*> gas_find_wrong_sections(const GasFileTable& table,
                                                           const char* bytes, GasBuildTeam& team);
/// The nodes, and whether their boxes are ordered; the depth is that of the arrays or wrong.
const char* gas_check_nodes(GasTreeArrays& arrays, GasBuildTeam& team);
const char* gas_check_nodes(GasCompressedTreeArrays& arrays, GasBuildTeam& team);
/// A sample of a tree with right nodes; `is_ordered`: whether each leaf's box has min <= max.
const char* gas_check_sample(const GasTreeArrays& arrays, unsigned sample, bool& is_ordered,
                             GasBuildTeam& team);
/// The wide nodes, and their boxes in samples, of a tree where all else is right.
const char* gas_check_wide_nodes(const GasTreeArrays& arrays, GasBuildTeam& team);
const char* gas_check_wide_samples(const GasTreeArrays& arrays, GasBuildTeam& team);

} // namespace gas_abi1
