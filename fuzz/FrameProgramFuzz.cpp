// Programs of unwind tables and the expressions in them are run without reading past their ends, and what
// they ask for is read only where memory is.

#include "os/posix/stack/CallFrameProgram.h"
#include "os/posix/stack/FrameUnwinder.h"

#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kHead = 4;
    if (size < kHead) return 0;
    const std::uint8_t* const end = data + size;
    os::posix::FunctionEntry function;
    function.common.codeUnit = data[0];
    function.common.dataUnit = static_cast<std::int8_t>(data[1]);
    function.common.pointerEncoding = data[2];
    const std::uint8_t* const middle = data + kHead + data[3] % (size - kHead + 1);
    function.common.program = os::posix::CodeReader(data + kHead, middle);
    function.program = os::posix::CodeReader(middle, end);
    os::posix::FrameRules rules;
    if (!os::posix::runRuleProgram(function, 16, rules)) return 0;
    ucontext_t context{};
    for (auto& value : context.uc_mcontext.gregs)
        value = static_cast<greg_t>(reinterpret_cast<std::intptr_t>(&context));
    os::posix::FrameUnwinder unwinder(context);
    unwinder.upBy(rules);
    return 0;
}
