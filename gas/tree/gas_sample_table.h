// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>

inline namespace gas_abi1 {

/// Changes a table with an entry per motion-blur sample from `count` to `new_count` entries: the
/// first min(old, new) entries stay, new ones are null or zero, and no entries means no table. What
/// dropped entries point at is the caller's to release, beforehand.
template <typename Entry>
void gas_resize_sample_table(Entry*& table, unsigned& count, unsigned new_count) {
    Entry* resized = nullptr;
    if (new_count) {
        resized = new Entry[new_count]();
        std::copy(table, table + (count < new_count ? count : new_count), resized);
    }
    delete[] table;
    table = resized;
    count = new_count;
}

/// A copy of a table; what its entries point at is shared.
template <typename Entry> Entry* gas_copy_sample_table(Entry* table, unsigned count) {
    Entry* copy = nullptr;
    if (count) {
        copy = new Entry[count];
        std::copy(table, table + count, copy);
    }
    return copy;
}

} // namespace gas_abi1
