#include "os/LargeStack.h"

#include "os/win32/Gate.h"

namespace os {
namespace {

constexpr SIZE_T kStackBytes = SIZE_T{64} << 20U;

DWORD WINAPI run(void* work) {
    (*static_cast<const std::function<void()>*>(work))();
    return 0;
}

}  // namespace

bool runOnLargeStack(const std::function<void()>& work) {
    const HANDLE thread = CreateThread(nullptr, kStackBytes, run, const_cast<std::function<void()>*>(&work),
                                       STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (!thread) return false;
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    return true;
}

}  // namespace os
