#include "child/CrashHandler.h"

#include "child/win32/Gate.h"
#include "child/win32/Report.h"

#include <QvPlatform/diagnostics/CallStackViewer.h>

namespace qvp {
namespace {

void (*handleStack)(const std::string& callStack) = nullptr;

void reportStack(const CONTEXT* context) {
    QvPlatform::CallStackViewer viewer(GetCurrentProcessId(), nullptr);
    viewer.getCallstack(nullptr, context);
    handleStack(viewer.getOutput());
}

}  // namespace

// Room is kept for the case that the stack has run out.
void reportCrashes(void (*onCrash)(const std::string& callStack)) {
    handleStack = onCrash;
    crashReporter = reportStack;
    ULONG room = 256U << 10U;
    SetThreadStackGuarantee(&room);
}

bool isMapped(const std::string& file) { return GetModuleHandleW(nativePath(file).c_str()) != nullptr; }

}  // namespace qvp
