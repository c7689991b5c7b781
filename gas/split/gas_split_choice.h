#pragma once

inline namespace gas_abi1 {

/// The split function of a tree class for a build method setting; any unknown setting counts as the
/// fast binned SAH.
template <typename Tree> auto gas_choose_split(unsigned build_method) {
    switch (build_method) {
    case 0:
        return &Tree::split_median;
    case 1:
        return &Tree::split_hybrid;
    case 3:
        return &Tree::split_sah_bins;
    default:
        return &Tree::split_sah_bins_fast;
    }
}

} // namespace gas_abi1
