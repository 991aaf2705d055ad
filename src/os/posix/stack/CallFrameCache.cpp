// A direct-mapped table: each address has one record, and the last writer wins. Words are relaxed atomics,
// stored one by one with a checksum of all of them. A reader accepts a record only if the key is equal and
// the checksum fits the words that it read, so a mixture of two writers' words is a miss. An unused record
// has the checksum 0, which does not fit its words.
//
// Only rules that fit in `PlainRules` are kept (CFA = register + offset; registers saved at multiples of a
// word from it); others are computed again each time. `findFrameRules` is the only caller.

#include "os/posix/stack/CallFrameCache.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>

namespace os::posix {
namespace {

constexpr std::size_t kKeyWords = 3;
constexpr std::size_t kRecords = 512;
constexpr std::int64_t kWord = sizeof(std::uintptr_t);

using RuleWords = std::array<std::uint64_t, sizeof(PlainRules) / sizeof(std::uint64_t)>;
constexpr std::size_t kWords = kKeyWords + RuleWords().size();
using Words = std::array<std::uint64_t, kWords>;

/// The key, the rules, and a checksum of both.
struct Record {
    std::array<std::atomic<std::uint64_t>, kWords> words{};
    std::atomic<std::uint64_t> checksum{0};
};

constinit std::array<Record, kRecords> records;

std::uint64_t checksumOf(const Words& words) {
    std::uint64_t checksum = 1;
    for (const std::uint64_t word : words) checksum = mixed(checksum ^ word);
    return checksum;
}

Record& recordFor(std::uintptr_t address) { return records[mixed(address) % kRecords]; }

bool compressRegister(const RegisterRule& rule, std::int8_t& savedAt) {
    if (rule.kind == RegisterRule::kSame || rule.kind == RegisterRule::kUndefined) return true;
    savedAt = static_cast<std::int8_t>(rule.value / kWord);
    return rule.kind == RegisterRule::kSavedAt && savedAt != 0 && savedAt * kWord == rule.value;
}

bool compress(const FrameRules& rules, PlainRules& plain) {
    plain.isSignalFrame = rules.isSignalFrame;
    if (rules.isSignalFrame) return true;
    plain.frameOffset = static_cast<std::int32_t>(rules.frameAddress.value);
    plain.frameRegister = static_cast<std::uint8_t>(rules.frameRegister);
    plain.isOutermost = rules.registers[kReturnAddress].kind == RegisterRule::kUndefined;
    for (std::size_t i = 0; i < kRegisters; ++i)
        if (!compressRegister(rules.registers[i], plain.savedAt[i])) return false;
    return rules.frameAddress.kind == RegisterRule::kInRegister && rules.frameRegister < kRegisters &&
           plain.frameOffset == rules.frameAddress.value;
}

}  // namespace

bool findCached(const FrameRulesKey& key, FrameRules& rules) {
    const Record& record = recordFor(key.address);
    Words words{};
    for (std::size_t i = 0; i < words.size(); ++i) words[i] = record.words[i].load(std::memory_order_relaxed);
    if (words[0] != key.address || words[1] != key.entry || words[2] != key.checksum ||
        record.checksum.load(std::memory_order_relaxed) != checksumOf(words))
        return false;
    RuleWords packed{};
    std::copy_n(words.begin() + kKeyWords, packed.size(), packed.begin());
    rules.plain = std::bit_cast<PlainRules>(packed);
    rules.isPlain = true;
    return true;
}

void keepCached(const FrameRulesKey& key, const FrameRules& rules) {
    PlainRules plain;
    if (!compress(rules, plain)) return;
    const auto packed = std::bit_cast<RuleWords>(plain);
    Words words{key.address, key.entry, key.checksum};
    std::copy_n(packed.begin(), packed.size(), words.begin() + kKeyWords);
    Record& record = recordFor(key.address);
    for (std::size_t i = 0; i < words.size(); ++i) record.words[i].store(words[i], std::memory_order_relaxed);
    record.checksum.store(checksumOf(words), std::memory_order_relaxed);
}

}  // namespace os::posix
