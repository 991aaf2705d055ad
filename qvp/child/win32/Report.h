#pragma once

#include "os/win32/Windows.h"

#include <string>

/// What parent and child agree on.
namespace qvp {

/// The environment variable that tells the child the handle of its report.
inline constexpr const wchar_t* kReportVariable = L"QVP_REPORT";

/// The exit code of a child whose code called `abort`, which by itself would be one like any other.
inline constexpr DWORD kAborted = 0x40000015;

/// What a crash calls before it ends the process; the context is null when it has none. Null at first.
extern void (*crashReporter)(const CONTEXT* context);

/// Whether the exception ends a process in practice. The loader catches what happens while it opens a library
/// and only says that it could not, so these are to be seen before anyone catches them.
bool isCrash(DWORD exceptionCode);

/// "access violation (0xC0000005)" for an exit code that stands for a crash, "" for any other.
std::string crashText(DWORD exitCode);

}  // namespace qvp
