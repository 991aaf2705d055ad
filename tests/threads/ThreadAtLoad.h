#pragma once

#include <atomic>
#include <cstdint>

/// What starting a thread in a static initializer of this library returned.
std::uint64_t returnedAtLoad();
/// The identifier that the thread has seen; 0 before.
std::uint64_t seenByThreadAtLoad();
