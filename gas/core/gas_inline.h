#pragma once

/// For the inner steps of a walk: a call would spill the loop's registers to memory, which costs a
/// tenth of a single ray's time.
#if defined(__GNUC__)
#define GAS_FORCE_INLINE [[gnu::always_inline]] inline
#else
#define GAS_FORCE_INLINE inline
#endif
