// Interprets DWARF call frame instructions. The common entry's program runs first; its result is what
// "restore" returns to. Then the function's program runs until its location has passed `address`.
//
// Each instruction consumes at least a byte and `CodeReader` does not read past the end, so any input ends.
// Rules for registers past the return address are parsed and dropped. An unknown instruction, or more than
// four remembered states, fails: the rules are then incomplete and must not be used.

#include "os/posix/stack/CallFrameProgram.h"

#include <dwarf.h>

#include <array>

namespace os::posix {
namespace {

class RuleProgram {
public:
    RuleProgram(const FunctionEntry& function, std::uintptr_t address, FrameRules& rules)
        : common_(function.common), location_(function.begin), address_(address), rules_(rules) {}

    bool run(CodeReader code) {
        while (!code.atEnd() && location_ <= address_)
            if (!step(code)) return false;
        return true;
    }
    void keepInitialRules() { initial_ = rules_.registers; }

private:
    using Registers = std::array<RegisterRule, kRegisters>;

    struct Remembered {
        RegisterRule frameAddress;
        std::size_t frameRegister = 0;
        Registers registers;
    };

    // Returns false for an unknown instruction.
    bool step(CodeReader& code) {
        const auto byte = code.take<std::uint8_t>();
        const std::uint8_t low = byte & 0x3f;
        switch (byte & 0xc0) {
            case DW_CFA_advance_loc:
                advance(low);
                return true;
            case DW_CFA_offset:
                set(low, {RegisterRule::kSavedAt, factored(code.uleb())});
                return true;
            case DW_CFA_restore:
                restore(low);
                return true;
            default:
                return stepMove(low, code) || stepFrame(low, code) || stepRegister(low, code);
        }
    }

    bool stepMove(std::uint8_t operation, CodeReader& code) {
        switch (operation) {
            case DW_CFA_nop:
                return true;
            case DW_CFA_set_loc:
                location_ = code.pointer(common_.pointerEncoding);
                return true;
            case DW_CFA_advance_loc1:
                advance(code.take<std::uint8_t>());
                return true;
            case DW_CFA_advance_loc2:
                advance(code.take<std::uint16_t>());
                return true;
            case DW_CFA_advance_loc4:
                advance(code.take<std::uint32_t>());
                return true;
            case DW_CFA_remember_state:
                return remember();
            case DW_CFA_restore_state:
                return recall();
            case DW_CFA_GNU_args_size:  // the size of arguments on the stack
                code.uleb();
                return true;
            default:
                return false;
        }
    }

    bool stepFrame(std::uint8_t operation, CodeReader& code) {
        RegisterRule& frame = rules_.frameAddress;
        switch (operation) {
            case DW_CFA_def_cfa:
            case DW_CFA_def_cfa_sf:
                rules_.frameRegister = code.uleb();
                frame = {RegisterRule::kInRegister,
                         operation == DW_CFA_def_cfa ? signedOf(code) : factoredSigned(code)};
                return true;
            case DW_CFA_def_cfa_register:
                rules_.frameRegister = code.uleb();
                return frame.kind == RegisterRule::kInRegister;
            case DW_CFA_def_cfa_offset:
                return setFrameOffset(signedOf(code));
            case DW_CFA_def_cfa_offset_sf:
                return setFrameOffset(factoredSigned(code));
            case DW_CFA_def_cfa_expression:
                frame = expression(RegisterRule::kComputed, code);
                return true;
            default:
                return false;
        }
    }

    // Fails after an expression, which has no offset to replace.
    bool setFrameOffset(std::int64_t offset) {
        RegisterRule& frame = rules_.frameAddress;
        if (frame.kind != RegisterRule::kInRegister) return false;
        frame.value = offset;
        return true;
    }

    bool stepRegister(std::uint8_t operation, CodeReader& code) {
        const std::uint64_t number = code.uleb();
        switch (operation) {
            case DW_CFA_offset_extended:
                set(number, {RegisterRule::kSavedAt, factored(code.uleb())});
                return true;
            case DW_CFA_restore_extended:
                restore(number);
                return true;
            case DW_CFA_undefined:
                set(number, {RegisterRule::kUndefined});
                return true;
            case DW_CFA_same_value:
                set(number, {RegisterRule::kSame});
                return true;
            case DW_CFA_register:
                set(number, {RegisterRule::kInRegister, signedOf(code)});
                return true;
            case DW_CFA_expression:
            case DW_CFA_val_expression:
                set(number, expression(operation == DW_CFA_expression ? RegisterRule::kSavedAtComputed
                                                                      : RegisterRule::kComputed,
                                       code));
                return true;
            case DW_CFA_offset_extended_sf:
                set(number, {RegisterRule::kSavedAt, factoredSigned(code)});
                return true;
            case DW_CFA_val_offset:
                set(number, {RegisterRule::kOffset, factored(code.uleb())});
                return true;
            case DW_CFA_val_offset_sf:
                set(number, {RegisterRule::kOffset, factoredSigned(code)});
                return true;
            default:
                return false;
        }
    }

    void advance(std::uint64_t units) { location_ += units * common_.codeUnit; }
    static std::int64_t signedOf(CodeReader& code) { return static_cast<std::int64_t>(code.uleb()); }
    // Unsigned, because the product may overflow.
    std::int64_t factored(std::uint64_t value) const {
        return static_cast<std::int64_t>(value * static_cast<std::uint64_t>(common_.dataUnit));
    }
    std::int64_t factoredSigned(CodeReader& code) const {
        return factored(static_cast<std::uint64_t>(code.sleb()));
    }
    static RegisterRule expression(RegisterRule::Kind kind, CodeReader& code) {
        const std::uint64_t bytes = code.uleb();
        const std::uint8_t* const begin = code.at();
        code.skip(bytes);
        return {kind, code.at() - begin, begin};
    }

    // Vector registers are ignored.
    void set(std::uint64_t number, const RegisterRule& rule) {
        if (number < kRegisters) rules_.registers[number] = rule;
    }
    void restore(std::uint64_t number) {
        if (number < kRegisters) rules_.registers[number] = initial_[number];
    }

    bool remember() {
        if (depth_ == remembered_.size()) return false;
        remembered_[depth_++] = {rules_.frameAddress, rules_.frameRegister, rules_.registers};
        return true;
    }
    bool recall() {
        if (depth_ == 0) return false;
        const Remembered& last = remembered_[--depth_];
        rules_.frameAddress = last.frameAddress;
        rules_.frameRegister = last.frameRegister;
        rules_.registers = last.registers;
        return true;
    }

    const CommonEntry& common_;
    std::uintptr_t location_;
    std::uintptr_t address_;
    FrameRules& rules_;
    Registers initial_;
    std::array<Remembered, 4> remembered_;
    std::size_t depth_ = 0;
};

}  // namespace

bool runRuleProgram(const FunctionEntry& function, std::uintptr_t address, FrameRules& rules) {
    RuleProgram program(function, address, rules);
    if (!program.run(function.common.program)) return false;
    program.keepInitialRules();
    return program.run(function.program);
}

}  // namespace os::posix
