#pragma once

#include <atomic>
#include <cstdint>

/// The result of starting a thread in a static initializer of this library.
std::uint64_t returnedAtLoad();
/// The identifier that the thread read; 0 before that.
std::uint64_t seenByThreadAtLoad();
