// SPDX-License-Identifier: Apache-2.0
#pragma once

inline namespace gas_abi1 {

/// A product that something is added to or subtracted from, rounded before that:
/// `a + gas_rounded(b * c)`. Where a machine can multiply and add with one rounding, compilers may
/// fuse the two unless they are told not to (-ffp-contract=off), across statements and inlined
/// functions and through intrinsics, too. The library's own sources are told, which
/// GAS_NOTHING_FUSES says; users' files are not, and a function of theirs may have instructions
/// that its file has not (__attribute__((target))), so every inline body of a public header writes
/// such a product like this.
///
/// T: a number, or a class of numbers or lanes that can be copied as bytes.
template <typename T> inline T gas_rounded(T product) {
#if defined(GAS_NOTHING_FUSES)
    // Rounded as it is.
#elif defined(__GNUC__)
    // For all that the compiler knows, these are other values now than those of the product.
    asm("" : "+m"(product));
#endif
    return product;
}

} // namespace gas_abi1
