#pragma once

#include "os/posix/stack/CallFrameInfo.h"
#include "os/posix/stack/CodeReader.h"

#include <atomic>
#include <bit>

/// A cache of rules by address, for all threads.
///
/// Different files may be loaded at the same address over time, so `source` is what else determines the
/// rules: cached rules are never out of date. Nothing here allocates, locks or waits, so that a signal
/// handler can use it, even one that interrupts this code: a record that was read while another thread wrote
/// it has a wrong checksum and counts as absent.
namespace os::posix {

/// The checksum is that of the other words and the source.
struct FrameRecord {
    std::atomic<std::uint64_t> address{0};
    std::atomic<std::uint64_t> frame{0};  ///< the first word of the rules
    std::atomic<std::uint64_t> saved{0};  ///< the second
    std::atomic<std::uint64_t> checksum{0};

    static std::uint64_t checksumOf(std::uintptr_t address, std::uint64_t source, std::uint64_t frame,
                                    std::uint64_t saved) {
        return mixed(address ^ saved, frame ^ source);
    }
    void write(std::uint64_t newAddress, std::uint64_t newFrame, std::uint64_t newSaved,
               std::uint64_t newChecksum) {
        address.store(newAddress, std::memory_order_relaxed);
        frame.store(newFrame, std::memory_order_relaxed);
        saved.store(newSaved, std::memory_order_relaxed);
        checksum.store(newChecksum, std::memory_order_relaxed);
    }
};

/// An address has two records, the one that was written last first.
struct alignas(64) FrameRecordPair {
    FrameRecord newer;
    FrameRecord older;
};

constexpr unsigned kFrameRecordBits = 11;
extern std::array<FrameRecordPair, std::size_t{1} << kFrameRecordBits> frameRecords;

inline FrameRecordPair& recordsFor(std::uintptr_t address) {
    constexpr std::uint64_t kSpread = 0x9e3779b97f4a7c15;
    return frameRecords[address * kSpread >> (64 - kFrameRecordBits)];
}

/// `kNone` if there are none. Inline, because it runs for each frame of a walk.
inline PlainRules findCached(std::uintptr_t address, std::uint64_t source) {
    const FrameRecordPair& pair = recordsFor(address);
    const bool isNewer = pair.newer.address.load(std::memory_order_relaxed) == address;
    const FrameRecord& record = isNewer ? pair.newer : pair.older;
    const std::uint64_t frame = record.frame.load(std::memory_order_relaxed);
    const std::uint64_t saved = record.saved.load(std::memory_order_relaxed);
    const std::uint64_t checksum = record.checksum.load(std::memory_order_relaxed);
    if ((!isNewer && record.address.load(std::memory_order_relaxed) != address) ||
        checksum != FrameRecord::checksumOf(address, source, frame, saved))
        return {};
    return {static_cast<std::int32_t>(frame), static_cast<PlainRules::Kind>(frame >> 32U & 0xffU),
            static_cast<std::uint8_t>(frame >> 40U), saved};
}

/// Stores the rules if they are of the usual kind; may replace others.
void keepCached(std::uintptr_t address, std::uint64_t source, const FrameRules& rules);

}  // namespace os::posix
