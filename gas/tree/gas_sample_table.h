#pragma once

#include <algorithm>

/// Changes a table of per-sample pointers from `count` to `new_count` entries: the first
/// min(old, new) entries stay, new ones are null, and no entries means no table. What dropped
/// entries point at is the caller's to release, beforehand.
template <typename T>
void gas_resize_sample_table(T**& table, unsigned& count, unsigned new_count) {
    T** resized = nullptr;
    if (new_count) {
        resized = new T* [new_count] {};
        std::copy(table, table + (count < new_count ? count : new_count), resized);
    }
    delete[] table;
    table = resized;
    count = new_count;
}
