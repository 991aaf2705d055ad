// Reads the head of a thrown object as the C++ ABI of this compiler lays it out, in the moment of the throw:
// later the library's code, and with it the exception's, is gone.

#include "os/win32/ThrowWatch.h"

#include <cxxabi.h>
#include <unwind.h>

#include <cstdint>
#include <exception>
#include <typeinfo>

namespace os::win32 {
namespace {

constexpr DWORD kThrow = 0x20474343;                                // "GCC", with the bit of applications
constexpr _Unwind_Exception_Class kPrimary = 0x474E5543432B2B00;    // "GNUCC++"
constexpr _Unwind_Exception_Class kDependent = 0x474E5543432B2B01;  // made by std::rethrow_exception

/// Lies in front of the thrown object.
struct ThrownHead {
    std::type_info* type;
    void (*destroy)(void*);
    void (*handlers[2])();
    void* next;
    int handlerCount;
    int switchValue;
    const void* action;
    const void* languageData;
    std::uintptr_t landingPad;
    void* adjusted;
    _Unwind_Exception unwind;
};

/// The same of an exception that stands for another one.
struct DependentHead {
    void* primary;
    char same[sizeof(ThrownHead) - sizeof(void*)];
};
static_assert(sizeof(DependentHead) == sizeof(ThrownHead));

/// What the runtime keeps for each thread.
struct RuntimeState {
    void* caught;
    unsigned uncaught;
};

RuntimeState& runtimeState() { return *reinterpret_cast<RuntimeState*>(abi::__cxa_get_globals()); }

std::string textOf(_Unwind_Exception* exception) {
    constexpr const char* kUnknown = "unknown exception";
    void* object = exception + 1;
    if (exception->exception_class == kDependent)
        object = (reinterpret_cast<DependentHead*>(object) - 1)->primary;
    else if (exception->exception_class != kPrimary)
        return kUnknown;
    const std::type_info* type = (static_cast<ThrownHead*>(object) - 1)->type;
    if (!typeid(std::exception).__do_catch(type, &object, 1)) return kUnknown;
    return static_cast<std::exception*>(object)->what();
}

thread_local ThrowWatch* current = nullptr;

}  // namespace

ThrowWatch::ThrowWatch()
    : outer_(current),
      uncaughtBefore_(runtimeState().uncaught),
      handler_(AddVectoredExceptionHandler(FALSE, note)) {
    current = this;
}

ThrowWatch::~ThrowWatch() {
    current = outer_;
    RemoveVectoredExceptionHandler(handler_);
}

bool ThrowWatch::sawUncaught(DWORD loaderError) {
    unsigned& uncaught = runtimeState().uncaught;
    const bool isCounted = uncaught > uncaughtBefore_;
    uncaught = uncaughtBefore_;
    return isCounted || loaderError == kThrow;
}

LONG CALLBACK ThrowWatch::note(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (current && record.ExceptionCode == kThrow && record.NumberParameters != 0)
        current->text_ = textOf(reinterpret_cast<_Unwind_Exception*>(record.ExceptionInformation[0]));
    return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace os::win32
