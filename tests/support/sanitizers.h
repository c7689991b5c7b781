// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace support {

/// Whether this program is compiled with the address or the thread sanitizer, which slow it down
/// several times and need larger stacks.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool is_sanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool is_sanitized = true;
#else
constexpr bool is_sanitized = false;
#endif
#else
constexpr bool is_sanitized = false;
#endif

/// How much is tested: everything, or a part where a sanitizer makes it slow. A build with
/// GAS_TEST_WHOLE tests everything.
constexpr unsigned scale(unsigned full, [[maybe_unused]] unsigned sanitized) {
#ifdef GAS_TEST_WHOLE
    return full;
#else
    return is_sanitized ? sanitized : full;
#endif
}

/// The same, and a part where assertions make it slow.
constexpr unsigned scale_in_release([[maybe_unused]] unsigned full,
                                    [[maybe_unused]] unsigned part) {
#ifdef NDEBUG
    return full;
#else
    return part;
#endif
}

/// Everything in a build with GAS_TEST_WHOLE alone, for what is long in any.
constexpr unsigned scale_when_whole([[maybe_unused]] unsigned full,
                                    [[maybe_unused]] unsigned part) {
#ifdef GAS_TEST_WHOLE
    return full;
#else
    return part;
#endif
}

} // namespace support
