#pragma once

namespace support {

/// For the few expectations that differ; a call that only one platform has still needs the preprocessor.
#ifdef _WIN32
inline constexpr bool kWindows = true;
#else
inline constexpr bool kWindows = false;
#endif

/// It puts signals off, allows no memory in their handlers, and lets no exception through the loader.
#ifdef __SANITIZE_THREAD__
inline constexpr bool kThreadSanitizer = true;
#else
inline constexpr bool kThreadSanitizer = false;
#endif

}  // namespace support
