// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <initializer_list>
#include <utility>

inline namespace gas_abi1 {

/// An owning array: 32-bit element count, then a pointer to the first element. Copies are deep.
/// With a count of 0 it is empty whatever the pointer.
template <typename T> class CoreArray {
  public:
    CoreArray() = default;

    /// `count` value-initialised elements.
    explicit CoreArray(unsigned count)
        : m_count(count), m_items(count ? new T[count]() : nullptr) {}

    CoreArray(std::initializer_list<T> items) : CoreArray(static_cast<unsigned>(items.size())) {
        std::copy(items.begin(), items.end(), m_items);
    }

    /// Copies `count` elements from `items`.
    CoreArray(const T* items, unsigned count) : CoreArray(count) {
        if (count)
            std::copy(items, items + count, m_items);
    }

    CoreArray(const CoreArray& other) : CoreArray(other.m_items, other.m_count) {}
    CoreArray(CoreArray&& other) noexcept { swap(other); }
    CoreArray& operator=(CoreArray other) noexcept {
        swap(other);
        return *this;
    }
    ~CoreArray() { delete[] m_items; }

    void swap(CoreArray& other) noexcept {
        std::swap(m_count, other.m_count);
        std::swap(m_items, other.m_items);
    }

    /// Changes the element count; the first min(old, new) elements are kept, new ones are
    /// value-initialised.
    void resize(unsigned count) {
        CoreArray resized(count);
        std::copy(m_items, m_items + (count < m_count ? count : m_count), resized.m_items);
        swap(resized);
    }

    bool is_empty() const { return m_count == 0; }
    const unsigned& get_count() const { return m_count; }
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
};

} // namespace gas_abi1
