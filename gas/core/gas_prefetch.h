#pragma once

inline namespace gas_abi1 {

/// Asks for the memory at an address that is read soon and may lie anywhere. Inlined at once, for
/// compilers drop calls of functions that do nothing else.
#if defined(__GNUC__)
[[gnu::always_inline]] inline void gas_prefetch(const void* address) {
    __builtin_prefetch(address);
}
#else
inline void gas_prefetch(const void*) {}
#endif

} // namespace gas_abi1
