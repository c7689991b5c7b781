// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <memory>

inline namespace gas_abi1 {

/// A table with an entry per motion-blur sample, made from one of `count` entries: the first
/// min(count, new_count) entries are the same, new ones are null or zero, and no entries means no
/// table. What entries point at is shared.
template <typename Entry>
std::unique_ptr<Entry[]> gas_make_sample_table(const Entry* table, unsigned count,
                                               unsigned new_count) {
    std::unique_ptr<Entry[]> made;
    if (new_count) {
        made.reset(new Entry[new_count]());
        std::copy(table, table + (count < new_count ? count : new_count), made.get());
    }
    return made;
}

/// Puts `made`, of `new_count` entries, in the place of a table. What dropped entries point at is
/// the caller's to release.
template <typename Entry>
void gas_replace_sample_table(Entry*& table, unsigned& count, std::unique_ptr<Entry[]> made,
                              unsigned new_count) noexcept {
    delete[] table;
    table = made.release();
    count = new_count;
}

} // namespace gas_abi1
