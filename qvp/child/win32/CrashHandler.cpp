#include "child/CrashHandler.h"

#include "child/win32/Report.h"

#include <QvPlatform/core/StringConversions.h>
#include <QvPlatform/diagnostics/CallStackViewer.h>

#include <algorithm>

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

bool isMapped(const std::string& file) {
    std::wstring path = QvPlatform::StringConversions::toWide(file);
    std::replace(path.begin(), path.end(), L'/', L'\\');
    return GetModuleHandleW(path.c_str()) != nullptr;
}

}  // namespace qvp
