#pragma once

namespace support {

/// For the few expectations that differ; a call that only one platform has still needs the preprocessor.
#ifdef _WIN32
inline constexpr bool kWindows = true;
#else
inline constexpr bool kWindows = false;
#endif

}  // namespace support
