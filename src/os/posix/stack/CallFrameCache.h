#pragma once

#include "os/posix/stack/CallFrameInfo.h"

/// A cache of rules by address, for all threads.
///
/// Different files may be loaded at the same address over time, so a key contains everything that determines
/// the rules: cached rules are never out of date. Nothing here allocates, locks or waits, so that a signal
/// handler can use it, even one that interrupts this code: a record that was read while another thread wrote
/// it has a wrong checksum and counts as absent.
namespace os::posix {

struct FrameRulesKey {
    std::uintptr_t address;
    std::uintptr_t entry;    ///< the function's entry in the file's table
    std::uint64_t checksum;  ///< of the content of the entry
};

bool findCached(const FrameRulesKey& key, FrameRules& rules);
/// Stores the rules if they are of the usual kind; replaces others.
void keepCached(const FrameRulesKey& key, const FrameRules& rules);

inline std::uint64_t mixed(std::uint64_t value) {
    value *= 0x9e3779b97f4a7c15;
    return value ^ value >> 32U;
}

}  // namespace os::posix
