#pragma once

#include <atomic>
#include <cstdint>

#if defined(__ELF__)
#define EXPORTED __attribute__((visibility("default")))
#elif defined(threadAtLoad_EXPORTS)
#define EXPORTED __declspec(dllexport)
#else
#define EXPORTED __declspec(dllimport)
#endif

/// The result of starting a thread in a static initializer of this library.
EXPORTED std::uint64_t returnedAtLoad();
/// The identifier that the thread read; 0 before that.
EXPORTED std::uint64_t seenByThreadAtLoad();
