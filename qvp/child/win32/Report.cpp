#include "child/win32/Report.h"

#include "base/Hexadecimal.h"

#include <algorithm>
#include <array>

namespace qvp {
namespace {

struct Name {
    DWORD code;
    const char* name;
};

constexpr std::array<Name, 14> kNames{{{kAborted, "abort"},
                                       {0x80000003, "breakpoint"},
                                       {0xC0000005, "access violation"},
                                       {0xC0000006, "in-page error"},
                                       {0xC000001D, "illegal instruction"},
                                       {0xC0000025, "noncontinuable exception"},
                                       {0xC000008E, "floating-point division by zero"},
                                       {0xC0000094, "integer division by zero"},
                                       {0xC0000096, "privileged instruction"},
                                       {0xC00000FD, "stack overflow"},
                                       {0xC0000139, "entry point not found"},
                                       {0xC0000374, "heap corruption"},
                                       {0xC0000409, "stack buffer overrun or fast fail"},
                                       {0x20474343, "unhandled C++ exception"}}};

}  // namespace

bool isCrash(DWORD exceptionCode) {
    switch (exceptionCode) {
        case EXCEPTION_ACCESS_VIOLATION:
        case EXCEPTION_IN_PAGE_ERROR:
        case EXCEPTION_ILLEGAL_INSTRUCTION:
        case EXCEPTION_PRIV_INSTRUCTION:
        case EXCEPTION_INT_DIVIDE_BY_ZERO:
        case EXCEPTION_STACK_OVERFLOW:
            return true;
        default:
            return false;
    }
}

std::string crashText(DWORD exitCode) {
    constexpr DWORD kErrors = 0xC0000000;
    const auto known =
        std::find_if(kNames.begin(), kNames.end(), [=](const Name& entry) { return entry.code == exitCode; });
    if (known == kNames.end() && exitCode >> 28U != kErrors >> 28U) return {};
    return std::string(known == kNames.end() ? "exception" : known->name) + " (0x" +
           base::hexadecimal(exitCode, 8, base::kUpperHexadecimalDigits) + ")";
}

}  // namespace qvp
