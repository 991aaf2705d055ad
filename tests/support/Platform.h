#pragma once

namespace support {

/// For the few expectations that differ. Calls that exist on one platform only still need the preprocessor.
#ifdef _WIN32
inline constexpr bool kWindows = true;
#else
inline constexpr bool kWindows = false;
#endif

/// It delays signals, forbids allocation in their handlers, and does not let exceptions pass through the
/// loader.
#ifdef __SANITIZE_THREAD__
inline constexpr bool kThreadSanitizer = true;
#else
inline constexpr bool kThreadSanitizer = false;
#endif

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kAddressSanitizer = true;
#elif defined(__has_feature)
inline constexpr bool kAddressSanitizer = __has_feature(address_sanitizer);
#else
inline constexpr bool kAddressSanitizer = false;
#endif

/// The sanitizers' allocators, unlike the C library's, do not lock themselves while a process forks.
inline constexpr bool kForkMayLockAllocator = kAddressSanitizer || kThreadSanitizer;

}  // namespace support
