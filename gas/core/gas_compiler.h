#pragma once

/// Words that tell the compiler what the language cannot.

inline namespace gas_abi1 {

#if defined(__GNUC__)
/// For the inner steps of a walk: a call would put what the loop keeps in registers into memory,
/// which costs a tenth of a single ray's time.
#define GAS_FORCE_INLINE [[gnu::always_inline]] inline
/// Behind the parameters of a lambda.
#define GAS_FORCE_INLINE_LAMBDA __attribute__((always_inline))
/// For a loop that wants all registers for itself, and for what a loop does once in a thousand
/// turns: inlined, it would cost the others registers.
#define GAS_NO_INLINE [[gnu::noinline]]
#else
#define GAS_FORCE_INLINE inline
#define GAS_FORCE_INLINE_LAMBDA
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
