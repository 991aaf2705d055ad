#include "os/posix/stack/CallFrameProgram.h"

#include <dwarf.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using os::posix::FrameRules;
using Rule = os::posix::RegisterRule;
using Program = std::vector<std::uint8_t>;

/// The rules at byte 4 of a function whose frame address is register 7 plus 8 at first, with the return
/// address below it. Code counts in units of 2 bytes, data in units of -8.
bool run(const Program& program, FrameRules& rules) {
    const Program common{DW_CFA_def_cfa, 7, 8, DW_CFA_offset | 16, 1};
    os::posix::FunctionEntry entry;
    entry.common.program = {common.data(), common.data() + common.size()};
    entry.common.codeUnit = 2;
    entry.common.dataUnit = -8;
    entry.program = {program.data(), program.data() + program.size()};
    entry.begin = 1000;
    return runRuleProgram(entry, 1004, rules);
}

TEST(CallFrameProgram, changesTheFrameAddress) {
    const struct {
        Program program;
        std::size_t number;
        std::int64_t offset;
    } cases[] = {{{}, 7, 8},
                 {{DW_CFA_def_cfa, 6, 24}, 6, 24},
                 {{DW_CFA_def_cfa_sf, 6, 0x7d}, 6, 24},
                 {{DW_CFA_def_cfa_register, 6}, 6, 8},
                 {{DW_CFA_def_cfa_offset, 16}, 7, 16},
                 {{DW_CFA_def_cfa_offset_sf, 0x7e}, 7, 16},
                 {{DW_CFA_remember_state, DW_CFA_def_cfa, 6, 24, DW_CFA_restore_state}, 7, 8}};
    for (const auto& [program, number, offset] : cases) {
        FrameRules rules;
        EXPECT_TRUE(run(program, rules));
        EXPECT_EQ(rules.frameAddress.kind, Rule::kInRegister);
        EXPECT_EQ(rules.frameRegister, number) << testing::PrintToString(program);
        EXPECT_EQ(rules.frameAddress.value, offset) << testing::PrintToString(program);
    }
}

TEST(CallFrameProgram, changesRegisters) {
    const struct {
        Program program;
        std::size_t number;
        Rule::Kind kind;
        std::int64_t value;
    } cases[] = {{{}, 3, Rule::kSame, 0},
                 {{}, 16, Rule::kSavedAt, -8},
                 {{DW_CFA_nop, DW_CFA_offset | 3, 2}, 3, Rule::kSavedAt, -16},
                 {{DW_CFA_GNU_args_size, 5, DW_CFA_offset_extended, 3, 2}, 3, Rule::kSavedAt, -16},
                 {{DW_CFA_offset_extended, 17, 2}, 16, Rule::kSavedAt, -8},
                 {{DW_CFA_offset_extended_sf, 3, 0x7e}, 3, Rule::kSavedAt, 16},
                 {{DW_CFA_offset | 16, 2, DW_CFA_restore | 16}, 16, Rule::kSavedAt, -8},
                 {{DW_CFA_undefined, 16, DW_CFA_restore_extended, 16}, 16, Rule::kSavedAt, -8},
                 {{DW_CFA_undefined, 16}, 16, Rule::kUndefined, 0},
                 {{DW_CFA_same_value, 16}, 16, Rule::kSame, 0},
                 {{DW_CFA_register, 3, 12}, 3, Rule::kInRegister, 12},
                 {{DW_CFA_val_offset, 3, 2}, 3, Rule::kOffset, -16},
                 {{DW_CFA_val_offset_sf, 3, 0x7e}, 3, Rule::kOffset, 16},
                 {{DW_CFA_expression, 3, 1, DW_OP_lit0}, 3, Rule::kSavedAtComputed, 1},
                 {{DW_CFA_val_expression, 3, 1, DW_OP_lit0}, 3, Rule::kComputed, 1},
                 {{DW_CFA_remember_state, DW_CFA_offset | 3, 2, DW_CFA_restore_state}, 3, Rule::kSame, 0}};
    for (const auto& [program, number, kind, value] : cases) {
        FrameRules rules;
        EXPECT_TRUE(run(program, rules));
        EXPECT_EQ(rules.registers[number].kind, kind) << testing::PrintToString(program);
        EXPECT_EQ(rules.registers[number].value, value) << testing::PrintToString(program);
    }
}

TEST(CallFrameProgram, endsPastTheAddress) {
    for (const std::uint8_t units : {std::uint8_t{2}, std::uint8_t{3}}) {
        const auto byte = [&](int value) { return static_cast<std::uint8_t>(value); };
        for (Program program : {Program{byte(DW_CFA_advance_loc | units)},
                                {DW_CFA_advance_loc1, units},
                                {DW_CFA_advance_loc2, units, 0},
                                {DW_CFA_advance_loc4, units, 0, 0, 0},
                                {DW_CFA_set_loc, byte((1000 + 2 * units) % 256), 3, 0, 0, 0, 0, 0, 0}}) {
            program.insert(program.end(), {DW_CFA_undefined, 3});
            FrameRules rules;
            EXPECT_TRUE(run(program, rules));
            EXPECT_EQ(rules.registers[3].kind == Rule::kUndefined, units == 2)
                << testing::PrintToString(program);
        }
    }
}

TEST(CallFrameProgram, failsAtWhatItDoesNotKnow) {
    FrameRules rules;
    EXPECT_TRUE(run(Program(4, DW_CFA_remember_state), rules));
    for (const Program& program : {Program(5, DW_CFA_remember_state),
                                   {DW_CFA_restore_state},
                                   {0x3f, 0},
                                   {DW_CFA_def_cfa_expression, 1, DW_OP_lit0, DW_CFA_def_cfa_offset, 8},
                                   {DW_CFA_def_cfa_expression, 1, DW_OP_lit0, DW_CFA_def_cfa_register, 6}})
        EXPECT_FALSE(run(program, rules)) << testing::PrintToString(program);
}

}  // namespace
