#include "os/ChildProcess.h"

#include "os/win32/Windows.h"

#include <shellapi.h>

#include <utility>

namespace os {

// An open handle reserves the process's number. The shell may have started something without a process
// handle.
struct ChildProcess::Record {
    win32::Handle process;
    win32::Handle thread;
};

void ChildProcess::Abandon::operator()(Record* record) const noexcept { delete record; }

ChildProcess::ChildProcess() noexcept = default;
ChildProcess::ChildProcess(ChildProcess&& other) noexcept = default;
ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept = default;
ChildProcess::ChildProcess(OwnedRecord record) noexcept : record_(std::move(record)) {}
ChildProcess::~ChildProcess() = default;

ChildProcess ChildProcess::start(const std::string& commandLine, bool showWindow) {
    std::wstring text = base::widen(commandLine);  // the system writes into it
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    OwnedRecord record(new Record);
    if (!CreateProcessW(nullptr, text.data(), nullptr, nullptr, FALSE, showWindow ? 0 : CREATE_NO_WINDOW,
                        nullptr, nullptr, &startup, &started))
        return {};
    record->process = win32::Handle(started.hProcess);
    record->thread = win32::Handle(started.hThread);
    return ChildProcess(std::move(record));
}

ChildProcess ChildProcess::startElevated(const std::string& command, const std::string& arguments) {
    const std::wstring file = base::widen(command);
    const std::wstring parameters = base::widen(arguments);
    SHELLEXECUTEINFOW request{};
    request.cbSize = sizeof request;
    request.fMask = SEE_MASK_NOCLOSEPROCESS;
    request.lpVerb = L"runas";
    request.lpFile = file.c_str();
    request.lpParameters = parameters.c_str();
    request.nShow = SW_SHOWNORMAL;
    OwnedRecord record(new Record);
    if (!ShellExecuteExW(&request)) return {};
    record->process = win32::Handle(request.hProcess);
    return ChildProcess(std::move(record));
}

std::optional<std::int64_t> ChildProcess::wait(unsigned long& error) {
    if (record_->process) WaitForSingleObject(record_->process.get(), INFINITE);
    DWORD exitCode = 0;
    if (GetExitCodeProcess(record_->process.get(), &exitCode)) return exitCode;
    error = GetLastError();
    return std::nullopt;
}

// The system refuses to end a process that it is ending already, so some patience remains after a refusal.
void ChildProcess::kill() {
    if (!record_->process) return;
    constexpr DWORD kPatience = 1'000;  // milliseconds
    const bool isEnding = TerminateProcess(record_->process.get(), 1) != 0;
    WaitForSingleObject(record_->process.get(), isEnding ? INFINITE : kPatience);
}

// A refused request starts nothing.
bool isElevationRefused(std::int64_t /*exitCode*/) { return false; }

}  // namespace os
