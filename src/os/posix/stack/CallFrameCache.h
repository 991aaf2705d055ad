#pragma once

#include "os/posix/stack/CallFrameInfo.h"

/// A cache of rules by address, for all threads.
///
/// Files come and go at the same addresses, so a key holds all that the rules follow from: they are never out
/// of date. Nothing here allocates, locks or waits, so that a signal handler can use it, even one that
/// interrupts this code: a record that was read while another thread wrote it has a wrong checksum and counts
/// as absent.
namespace os::posix {

struct FrameRulesKey {
    std::uintptr_t address;
    std::uintptr_t entry;    ///< the function's entry in the file's table
    std::uint64_t checksum;  ///< of what the entry consists of
};

bool findCached(const FrameRulesKey& key, FrameRules& rules);
/// Keeps the rules if they are of the usual kind, in place of others.
void keepCached(const FrameRulesKey& key, const FrameRules& rules);

inline std::uint64_t mixed(std::uint64_t value) {
    value *= 0x9e3779b97f4a7c15;
    return value ^ value >> 32U;
}

}  // namespace os::posix
