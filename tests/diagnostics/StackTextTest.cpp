#include "diagnostics/StackText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace {

using os::AddressDescription;
using os::StackFrame;
using QvPlatform::detail::appendFrames;

std::map<std::string, std::string> variables;

std::optional<std::string> madeUpVariable(const std::string& name) {
    const auto found = variables.find(name);
    return found == variables.end() ? std::nullopt : std::optional(found->second);
}

TEST(StackText, searchPathHasThePiecesThatArePresent) {
    const std::string tooLong(32767, 'x');
    const struct {
        std::string directory, program;
        std::map<std::string, std::string> set;
        std::string path;
    } cases[] = {
        {"/work", "/bin/program", {}, ".;/work;/bin;"},
        {"", "C:program.exe", {}, ".;C;"},
        {"C:\\w",
         "C:\\p.exe",
         {{"SYSTEMROOT", "C:\\windows"}},
         ".;C:\\w;C:;C:\\windows;C:\\windows\\system32;"},
        {"", "program", {{"_NT_SYMBOL_PATH", "a;b"}, {"_NT_ALTERNATE_SYMBOL_PATH", "c"}}, ".;a;b;c;"},
        {"",
         "",
         {{"_NT_SYMBOL_PATH", tooLong}, {"_NT_ALTERNATE_SYMBOL_PATH", ""}, {"SYSTEMROOT", tooLong}},
         ".;"},
    };
    for (const auto& c : cases) {
        variables = c.set;
        EXPECT_EQ(QvPlatform::detail::symbolSearchPath(c.directory, c.program, madeUpVariable), c.path);
    }
}

/// A stack that consists of the frames that the test adds.
class MadeUpWalker : public os::StackWalker {
public:
    os::ErrorCode start(const os::StackThread&, const _CONTEXT*, std::string&) override { return 0; }
    os::ErrorCode next(StackFrame& frame) override {
        if (position_ < frames.size()) {
            frame = frames[position_++];
            return 0;
        }
        frame.programCounter = end == 0 ? 0 : 0xbad;
        return end;
    }
    const AddressDescription& describe(const StackFrame& frame) override {
        return descriptions[frame.programCounter];
    }

    void add(std::uintptr_t address, std::uintptr_t returnAddress, std::size_t count = 1) {
        frames.insert(frames.end(), count, StackFrame{address, returnAddress, false});
    }

    std::vector<StackFrame> frames;
    std::map<std::uintptr_t, AddressDescription> descriptions;
    os::ErrorCode end = 0;

private:
    std::size_t position_ = 0;
};

AddressDescription description(std::string function, std::string file, unsigned long line, std::string module,
                               std::uintptr_t moduleStart = 0) {
    AddressDescription known;
    known.function = std::move(function);
    known.file = std::move(file);
    known.line = line;
    known.module = std::move(module);
    known.moduleStart = moduleStart;
    known.symbolError = known.function.empty() ? 487 : 0;
    known.lineError = known.file.empty() ? 126 : 0;
    known.moduleError = known.module.empty() ? 1114 : 0;
    return known;
}

TEST(StackText, saysOfEachFrameWhatIsKnown) {
    MadeUpWalker walker;
    for (const std::uint64_t address : {0x10ULL, 0x20ULL, 0x30ULL, 0x40ULL, 0xfedcba9876543210ULL})
        walker.add(address, address + 1);
    walker.descriptions = {
        {0x10, description("first(int)", "a.cpp", 7, "m")},
        {0x20, description("second", "", 0, "m", 0x10)},
        {0x30, description("", "b%s.cpp", 4294967295, "")},
        {0x40, description("third", "", 0, "")},
        {0xfedcba9876543210, description("", "", 0, "libphysics.so", 0xfedcba9876540000)},
    };
    walker.end = 0xffffffff;
    std::string text;
    EXPECT_FALSE(appendFrames(text, walker, nullptr));
    EXPECT_EQ(text,
              "a.cpp (7): first(int)\n"
              "ERROR: SymGetLineFromAddr64, GetLastError: 126 (Address: 0x20)\n"
              "0x20 (m+0x10): (filename not available): second\n"
              "ERROR: SymGetSymFromAddr64, GetLastError: 487 (Address: 0x30)\n"
              "ERROR: SymGetModuleInfo64, GetLastError: 1114 (Address: 0x30)\n"
              "b%s.cpp (4294967295): (function-name not available)\n"
              "ERROR: SymGetLineFromAddr64, GetLastError: 126 (Address: 0x40)\n"
              "ERROR: SymGetModuleInfo64, GetLastError: 1114 (Address: 0x40)\n"
              "0x40 ((module-name not available)): (filename not available): third\n"
              "ERROR: SymGetSymFromAddr64, GetLastError: 487 (Address: 0xfedcba9876543210)\n"
              "ERROR: SymGetLineFromAddr64, GetLastError: 126 (Address: 0xfedcba9876543210)\n"
              "0xfedcba9876543210 (libphysics.so+0x3210): (filename not available): "
              "(function-name not available)\n"
              "ERROR: StackWalk64, GetLastError: -1 (Address: 0xbad)\n");
}

TEST(StackText, beginsAtTheCallerIfThatIsOnTheStack) {
    MadeUpWalker walker;
    const char place[3] = {};
    const auto address = [&](int i) { return reinterpret_cast<std::uintptr_t>(place + i); };
    walker.add(0x10, address(0));
    walker.add(address(0), address(1));
    walker.descriptions = {{0x10, description("inner", "f", 1, "m")},
                           {address(0), description("outer", "f", 2, "m")}};
    for (const auto& [caller, expected] :
         std::map<const void*, std::string>{{nullptr, "f (1): inner\nf (2): outer\n"},
                                            {place, "f (2): outer\n"},
                                            {place + 2, "f (1): inner\nf (2): outer\n"}}) {
        MadeUpWalker walk;
        walk.frames = walker.frames;
        walk.descriptions = walker.descriptions;
        std::string text;
        EXPECT_TRUE(appendFrames(text, walk, caller));
        EXPECT_EQ(text, expected);
    }
}

TEST(StackText, endsAStackThatRepeatsOneFrame) {
    const std::string kEndless = "ERROR: StackWalk64-Endless-Callstack!, GetLastError: 0 (Address: 0x10)\n";
    const struct {
        std::size_t before, others, after;
        std::ptrdiff_t lines;
        bool reachesEnd;
    } cases[] = {{1001, 0, 0, 1001, true},
                 {1002, 0, 0, 1002, false},
                 {1001, 1, 1001, 2003, true},
                 {70000, 0, 0, 1002, false},
                 {500, 1, 1002, 1503, false}};
    for (const auto& c : cases) {
        MadeUpWalker walker;
        walker.add(0x10, 0x10, c.before);
        walker.add(0x20, 0x10, c.others);
        walker.add(0x10, 0x10, c.after);
        for (const int address : {0x10, 0x20})
            walker.descriptions[static_cast<std::uintptr_t>(address)] = description("f", "f", 1, "m");
        std::string text;
        EXPECT_EQ(appendFrames(text, walker, nullptr), c.reachesEnd);
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), c.lines);
        EXPECT_EQ(text.find(kEndless) != std::string::npos, !c.reachesEnd);
    }
}

}  // namespace
