#pragma once

#include "os/win32/Windows.h"

#include <string>

/// The protocol between parent and child.
namespace qvp {

/// The environment variable with the handle of the child's report, a mapping of memory.
inline constexpr const wchar_t* kReportVariable = L"QVP_REPORT";

/// The exit code of a child that called `abort`; the system's would not be distinguishable.
inline constexpr DWORD kAborted = 0x40000015;

/// Called by a crash before it ends the process, with a null context if there is none. Initially null.
extern void (*crashReporter)(const CONTEXT* context);

/// True if the exception ends a process in practice. The loader catches exceptions while it opens a library
/// and only reports failure, so these must be handled before anyone catches them.
bool isCrash(DWORD exceptionCode);

/// "access violation (0xC0000005)" for an exit code that means a crash, "" for any other.
std::string crashText(DWORD exitCode);

}  // namespace qvp
