#pragma once

/// For the inner steps of a walk: a call would put what the loop keeps in registers into memory,
/// which costs a tenth of a single ray's time.
#if defined(__GNUC__)
#define GAS_FORCE_INLINE [[gnu::always_inline]] inline
#else
#define GAS_FORCE_INLINE inline
#endif
