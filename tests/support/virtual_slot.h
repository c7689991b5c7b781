// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace support {

/// The byte offset of a virtual member's slot. A pointer to the member holds it, in some machines'
/// conventions plus 1; the destructor takes the two slots before it, where it comes first.
template <typename Class> std::ptrdiff_t get_slot_offset(std::size_t (Class::*member)() const) {
    static_assert(std::has_virtual_destructor_v<Class>);
    std::ptrdiff_t words[2];
    static_assert(sizeof member == sizeof words);
    std::memcpy(words, &member, sizeof words);
    return words[0] & ~std::ptrdiff_t{1};
}

inline constexpr auto slot_after_the_destructor = static_cast<std::ptrdiff_t>(2 * sizeof(void*));

} // namespace support
