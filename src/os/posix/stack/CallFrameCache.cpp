// Each address has two records, which it shares with other addresses; the last two writers win. Words are
// relaxed atomics, stored one by one with a checksum of all of them. A reader accepts a record only if the
// key is equal and the checksum fits the words that it read, so a mixture of two writers' words is a miss. An
// unused record has the checksum 0, which does not fit its words.
//
// Only rules that fit in `PlainRules` are kept (CFA = register + offset; registers saved at multiples of a
// word below it); others are computed again each time. `CallFrameInfo` is the only caller.

#include "os/posix/stack/CallFrameCache.h"

#include <algorithm>
#include <array>

namespace os::posix {
namespace {

constexpr std::uint64_t kWord = sizeof(std::uintptr_t);

bool isInPlace(const RegisterRule& rule) {
    return rule.kind == RegisterRule::kSame || rule.kind == RegisterRule::kUndefined;
}

bool compressRegisters(const FrameRules& rules, PlainRules& plain) {
    plain.saved = std::uint64_t{rules.frameRegister} << 56U;
    auto registers = rules.registers;
    for (std::size_t i = 0; i < kPlainRegisters.size(); ++i) {
        RegisterRule& rule = registers[kPlainRegisters[i]];
        if (isInPlace(rule)) continue;
        const std::uint64_t bytes = 0 - static_cast<std::uint64_t>(rule.value);
        const std::uint64_t words = bytes / kWord;
        if (rule.kind != RegisterRule::kSavedAt || words == 0 || words > 0xff || bytes % kWord != 0)
            return false;
        plain.saved |= words << (48 - 8 * i);
        plain.reach = std::max(plain.reach, static_cast<std::uint8_t>(words));
        rule = RegisterRule();
    }
    return std::all_of(registers.begin(), registers.end(), isInPlace);
}

bool compress(const FrameRules& rules, PlainRules& plain) {
    plain.kind = rules.isSignalFrame                                                ? PlainRules::kSignal
                 : rules.registers[kReturnAddress].kind == RegisterRule::kUndefined ? PlainRules::kOutermost
                                                                                    : PlainRules::kCall;
    if (rules.isSignalFrame) return true;
    plain.frameOffset = static_cast<std::int32_t>(rules.frameAddress.value);
    return rules.frameAddress.kind == RegisterRule::kInRegister && rules.frameRegister < kRegisters &&
           plain.frameOffset == rules.frameAddress.value && compressRegisters(rules, plain);
}

}  // namespace

constinit std::array<FrameRecordPair, std::size_t{1} << kFrameRecordBits> frameRecords;

void keepCached(std::uintptr_t address, std::uint64_t source, const FrameRules& rules) {
    PlainRules plain;
    if (!compress(rules, plain)) return;
    const std::uint64_t frame = std::uint64_t{plain.reach} << 40U | std::uint64_t{plain.kind} << 32U |
                                static_cast<std::uint32_t>(plain.frameOffset);
    const std::uint64_t checksum = FrameRecord::checksumOf(address, source, frame, plain.saved);
    auto& [newer, older] = recordsFor(address);
    // One that is out of date is replaced; another address's stays.
    if (newer.address.load(std::memory_order_relaxed) != address)
        older.write(newer.address.load(std::memory_order_relaxed),
                    newer.frame.load(std::memory_order_relaxed), newer.saved.load(std::memory_order_relaxed),
                    newer.checksum.load(std::memory_order_relaxed));
    newer.write(address, frame, plain.saved, checksum);
}

}  // namespace os::posix
