// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <memory>
#include <utility>

#include <gas/host/host_export.h>

inline namespace gas_abi1 {

/// Throws std::bad_array_new_length, for programs that are compiled without exceptions, too.
[[noreturn]] GAS_HOST_EXPORT void core_throw_bad_length();

/// A growable array: element count, pointer to the first element, capacity. Copies are deep.
template <typename T> class CoreVector {
  public:
    CoreVector() = default;

    CoreVector(std::initializer_list<T> items) : CoreVector() {
        for (const T& item : items)
            add(item);
    }

    CoreVector(const CoreVector& other) : CoreVector() {
        if (other.is_empty())
            return;
        m_items = new T[other.m_count]();
        m_capacity = other.m_count;
        m_count = other.m_count;
        std::copy(other.begin(), other.end(), m_items);
    }
    CoreVector(CoreVector&& other) noexcept { swap(other); }
    CoreVector& operator=(CoreVector other) noexcept {
        swap(other);
        return *this;
    }
    ~CoreVector() { delete[] m_items; }

    void swap(CoreVector& other) noexcept {
        std::swap(m_count, other.m_count);
        std::swap(m_items, other.m_items);
        std::swap(m_capacity, other.m_capacity);
    }

    /// Appends `item`. A full vector doubles its capacity (1 when empty) and moves its elements;
    /// a capacity beyond 32 bits throws std::bad_array_new_length.
    void add(const T& item) {
        if (m_count < m_capacity) {
            m_items[m_count++] = item;
            return;
        }
        if (m_count > std::numeric_limits<unsigned>::max() / 2)
            core_throw_bad_length();
        const unsigned capacity = m_count ? 2 * m_count : 1;
        std::unique_ptr<T[]> grown(new T[capacity]());
        grown[m_count] = item; // before the others move: `item` may be one of them
        std::move(m_items, m_items + m_count, grown.get());
        delete[] m_items;
        m_items = grown.release();
        m_capacity = capacity;
        ++m_count;
    }

    /// Removes the elements and keeps the memory.
    void clear() { m_count = 0; }

    bool is_empty() const { return m_count == 0; }
    const unsigned& get_count() const { return m_count; }
    const unsigned& get_capacity() const { return m_capacity; }
    T* get_items() { return m_items; }
    const T* get_items() const { return m_items; }

    T& operator[](unsigned index) { return m_items[index]; }
    const T& operator[](unsigned index) const { return m_items[index]; }
    T* begin() { return m_items; }
    T* end() { return m_items + m_count; }
    const T* begin() const { return m_items; }
    const T* end() const { return m_items + m_count; }

  private:
    unsigned m_count = 0;
    T* m_items = nullptr;
    unsigned m_capacity = 0;
};

} // namespace gas_abi1
