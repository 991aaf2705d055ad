// Unwinds by DWARF call frame information: the rules for the program counter give the frame's address (the
// CFA) and, from it, the caller's registers. A return address may lie past the end of a function that ends in
// a call, so rules are looked up at the byte before it, except for an interrupted instruction.
//
// The registers are replaced only when a step succeeds. Every word of the stack is read through
// `LocalMemory`, so a wrong address is EFAULT; the used part of the calling thread's own stack is read
// directly. The frame's address must be above the stack pointer, except for an interrupted frame; a signal
// frame may lead anywhere, so callers limit the number of frames. Expressions know the operations that
// compilers and linkers use here; any other fails.

#include "os/posix/stack/FrameUnwinder.h"

#include "os/posix/stack/CallFrameCache.h"
#include "os/posix/stack/CodeReader.h"

#include <dwarf.h>

#include <bit>
#include <cerrno>
#include <csignal>

namespace os::posix {
namespace {

// The indices in the kernel's list of registers, by DWARF register number.
constexpr int kKernelNumbers[kRegisters] = {REG_RAX, REG_RDX, REG_RCX, REG_RBX, REG_RSI, REG_RDI,
                                            REG_RBP, REG_RSP, REG_R8,  REG_R9,  REG_R10, REG_R11,
                                            REG_R12, REG_R13, REG_R14, REG_R15, REG_RIP};

/// The operand stack of an expression.
class ValueStack {
public:
    bool push(std::uintptr_t value) {
        if (count_ == values_.size()) return false;
        values_[count_++] = value;
        return true;
    }
    bool has(std::size_t count) const { return count_ >= count; }
    std::uintptr_t pop() { return values_[--count_]; }

private:
    std::array<std::uintptr_t, 16> values_{};
    std::size_t count_ = 0;
};

bool applyToTwo(std::uint8_t operation, ValueStack& stack) {
    if (!stack.has(2)) return false;
    const std::uintptr_t second = stack.pop();
    const std::uintptr_t first = stack.pop();
    switch (operation) {
        case DW_OP_and:
            return stack.push(first & second);
        case DW_OP_minus:
            return stack.push(first - second);
        case DW_OP_plus:
            return stack.push(first + second);
        case DW_OP_shl:
            return stack.push(second < 64 ? first << second : 0);
        case DW_OP_ge:
            return stack.push(static_cast<std::intptr_t>(first) >= static_cast<std::intptr_t>(second) ? 1
                                                                                                      : 0);
        default:
            return false;
    }
}

bool pushConstant(std::uint8_t operation, CodeReader& code, ValueStack& stack) {
    switch (operation) {
        case DW_OP_const1u:
            return stack.push(code.take<std::uint8_t>());
        case DW_OP_const1s:
            return stack.push(static_cast<std::uintptr_t>(std::int64_t{code.take<std::int8_t>()}));
        case DW_OP_const2u:
            return stack.push(code.take<std::uint16_t>());
        case DW_OP_const2s:
            return stack.push(static_cast<std::uintptr_t>(std::int64_t{code.take<std::int16_t>()}));
        case DW_OP_constu:
            return stack.push(code.uleb());
        case DW_OP_consts:
            return stack.push(static_cast<std::uintptr_t>(code.sleb()));
        default:
            return operation >= DW_OP_lit0 && operation <= DW_OP_lit31 &&
                   stack.push(operation - std::uintptr_t{DW_OP_lit0});
    }
}

}  // namespace

FrameUnwinder::FrameUnwinder(const ucontext_t& context) {
    for (std::size_t i = 0; i < kRegisters; ++i)
        registers_[i] = static_cast<std::uintptr_t>(context.uc_mcontext.gregs[kKernelNumbers[i]]);
}

inline std::uintptr_t FrameUnwinder::address() const { return programCounter() - (isInterrupted_ ? 0 : 1); }

inline std::uintptr_t FrameUnwinder::frameAddress(const PlainRules& rules) const {
    return registers_[rules.saved >> 56U] + static_cast<std::uintptr_t>(std::intptr_t{rules.frameOffset});
}

// Does nothing unless everything is at hand. Calls no function, so that it needs no frame.
[[gnu::always_inline]] inline bool FrameUnwinder::upDirectly() {
    const PlainRules rules = findCached(address(), frameInfo_.knownSourceOf(address()));
    if (rules.kind != PlainRules::kCall) return false;
    const std::uintptr_t frame = frameAddress(rules);
    const std::uintptr_t bytes = rules.reach * sizeof frame;
    if (frame <= registers_[kStackPointer] || !memory_.isDirect(frame - bytes, bytes)) return false;
    std::uint64_t saved = rules.saved << 8U;
    for (std::size_t i = 0; saved != 0; ++i, saved <<= 8U)
        if (const std::uintptr_t words = saved >> 56U; words != 0)
            registers_[kPlainRegisters[i]] = LocalMemory::wordAt(frame - words * sizeof frame);
    registers_[kStackPointer] = frame;
    isInterrupted_ = false;
    return true;
}

// Enough for most frames.
int FrameUnwinder::up() { return upDirectly() ? 0 : upIndirectly(); }

int FrameUnwinder::upIndirectly() {
    frameInfo_.sourceOf(address());
    if (upDirectly()) return 0;  // it was only the first frame of its file
    const int error = upOverCall();
    if (error == 0 || error != ENODATA || !isInterrupted_) return error;
    // A call to a wrong address, as through a null function pointer: the return address is on top of the
    // stack.
    std::uintptr_t caller = 0;
    if (!memory_.read(registers_[kStackPointer], caller)) return EFAULT;
    registers_[kReturnAddress] = caller;
    registers_[kStackPointer] += sizeof caller;
    isInterrupted_ = false;
    return 0;
}

int FrameUnwinder::upOverCall() {
    const PlainRules rules = findCached(address(), frameInfo_.sourceOf(address()));
    return rules.kind == PlainRules::kNone ? upByProgram(address()) : upByPlain(rules);
}

int FrameUnwinder::upByProgram(std::uintptr_t address) {
    FrameRules rules;
    return frameInfo_.find(address, rules) ? upBy(rules) : ENODATA;
}

int FrameUnwinder::upBy(const FrameRules& rules) {
    if (rules.isSignalFrame) return upOverSignal();
    if (rules.registers[kReturnAddress].kind == RegisterRule::kUndefined) {
        registers_[kReturnAddress] = 0;
        return 0;
    }
    std::uintptr_t frame = 0;
    if (!frameAddress(rules, frame)) return EFAULT;
    // Callers' frames have higher addresses; checking this ends the walk on a broken stack.
    if (frame <= registers_[kStackPointer] && !isInterrupted_) return EFAULT;
    Registers callers;
    for (std::size_t i = 0; i < kRegisters; ++i)
        if (!callersValue(rules.registers[i], i, frame, callers[i])) return EFAULT;
    if (rules.registers[kStackPointer].kind == RegisterRule::kSame) callers[kStackPointer] = frame;
    registers_ = callers;
    isInterrupted_ = false;
    return 0;
}

int FrameUnwinder::upByPlain(const PlainRules& rules) {
    if (rules.kind == PlainRules::kSignal) return upOverSignal();
    if (rules.kind == PlainRules::kOutermost) {
        registers_[kReturnAddress] = 0;
        return 0;
    }
    const std::uintptr_t frame = frameAddress(rules);
    if (frame <= registers_[kStackPointer] && !isInterrupted_) return EFAULT;
    Registers callers = registers_;
    callers[kStackPointer] = frame;
    std::uint64_t saved = rules.saved << 8U;
    for (std::size_t i = 0; saved != 0; ++i, saved <<= 8U) {
        const std::uintptr_t words = saved >> 56U;
        if (words != 0 && !memory_.read(frame - words * sizeof frame, callers[kPlainRegisters[i]]))
            return EFAULT;
    }
    registers_ = callers;
    isInterrupted_ = false;
    return 0;
}

// The stack pointer points to the `ucontext_t` of the interrupted code.
int FrameUnwinder::upOverSignal() {
    const std::uintptr_t saved = registers_[kStackPointer] + offsetof(ucontext_t, uc_mcontext.gregs);
    Registers interrupted;
    for (std::size_t i = 0; i < kRegisters; ++i) {
        const auto number = static_cast<std::uintptr_t>(kKernelNumbers[i]);
        if (!memory_.read(saved + number * sizeof(greg_t), interrupted[i])) return EFAULT;
    }
    registers_ = interrupted;
    isInterrupted_ = true;
    return 0;
}

bool FrameUnwinder::frameAddress(const FrameRules& rules, std::uintptr_t& address) {
    if (rules.frameAddress.kind == RegisterRule::kComputed)
        return evaluate(rules.frameAddress, nullptr, address);
    if (rules.frameAddress.kind != RegisterRule::kInRegister || rules.frameRegister >= kRegisters)
        return false;
    address = registers_[rules.frameRegister] + static_cast<std::uintptr_t>(rules.frameAddress.value);
    return true;
}

bool FrameUnwinder::callersValue(const RegisterRule& rule, std::size_t number, std::uintptr_t frame,
                                 std::uintptr_t& value) {
    const auto operand = static_cast<std::uintptr_t>(rule.value);
    switch (rule.kind) {
        case RegisterRule::kSavedAt:
            return memory_.read(frame + operand, value);
        case RegisterRule::kOffset:
            value = frame + operand;
            return true;
        case RegisterRule::kInRegister:
            if (operand >= kRegisters) return false;
            value = registers_[operand];
            return true;
        case RegisterRule::kSavedAtComputed:
            return evaluate(rule, &frame, value) && memory_.read(value, value);
        case RegisterRule::kComputed:
            return evaluate(rule, &frame, value);
        default:
            value = registers_[number];
            return true;
    }
}

bool FrameUnwinder::evaluate(const RegisterRule& rule, const std::uintptr_t* initial,
                             std::uintptr_t& result) {
    ValueStack stack;
    if (initial) stack.push(*initial);
    for (CodeReader code(rule.expression, rule.expression + rule.value); !code.atEnd();) {
        const auto operation = code.take<std::uint8_t>();
        bool done = false;
        if (operation >= DW_OP_breg0 && operation < DW_OP_breg0 + kRegisters) {
            done = stack.push(registers_[operation - std::size_t{DW_OP_breg0}] +
                              static_cast<std::uintptr_t>(code.sleb()));
        } else if (operation == DW_OP_deref) {
            std::uintptr_t value = 0;
            done = stack.has(1) && memory_.read(stack.pop(), value) && stack.push(value);
        } else if (operation == DW_OP_plus_uconst) {
            done = stack.has(1) && stack.push(stack.pop() + code.uleb());
        } else {
            done = pushConstant(operation, code, stack) || applyToTwo(operation, stack);
        }
        if (!done) return false;
    }
    if (!stack.has(1)) return false;
    result = stack.pop();
    return true;
}

}  // namespace os::posix
