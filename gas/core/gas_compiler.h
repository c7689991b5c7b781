// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Words that tell the compiler what the language cannot.

inline namespace gas_abi1 {

/// GAS_FORCE_INLINE is for the inner steps of a walk: a call would put what the loop keeps in
/// registers into memory, which costs a tenth of a single ray's time. GAS_FORCE_INLINE_LAMBDA
/// stands behind the parameters of a lambda. A build that puts checks into every step says
/// GAS_INLINE_FREELY: the checks make the steps so large that forcing doubles the compiler's time.
#if defined(__GNUC__) && !defined(GAS_INLINE_FREELY)
#define GAS_FORCE_INLINE [[gnu::always_inline]] inline
#define GAS_FORCE_INLINE_LAMBDA __attribute__((always_inline))
#else
#define GAS_FORCE_INLINE inline
#define GAS_FORCE_INLINE_LAMBDA
#endif

/// For a loop that wants all registers for itself, and for what a loop does once in a thousand
/// turns: inlined, it would cost the others registers.
#if defined(__GNUC__)
#define GAS_NO_INLINE [[gnu::noinline]]
#else
#define GAS_NO_INLINE
#endif

/// Asks for the memory at an address that is read soon and may lie anywhere. Inlined at once, for
/// compilers drop calls of functions that do nothing else.
GAS_FORCE_INLINE void gas_prefetch([[maybe_unused]] const void* address) {
#if defined(__GNUC__)
    __builtin_prefetch(address);
#endif
}

} // namespace gas_abi1
