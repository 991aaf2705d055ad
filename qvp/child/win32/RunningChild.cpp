// Order: `start`, `wait` any number of times, then `end` or the destructor. The child is created suspended
// and put into a job before it runs, so its own children are in the job too. Both `end` and the destructor
// terminate the job; closing its handle, as when this process dies, does the same. `end` reads the exit code
// before that.
//
// A thread reads the output pipe until no writer is left. So this process closes its writing end in `start`,
// and the job ends before the thread is joined; what is not kept is read and dropped. The report is shared
// memory, which `end` reads; nothing in it is trusted. `start` sets an
// environment variable of this process while it creates the child, so only one thread may call it at a time.

#include "child/RunningChild.h"

#include "child/KeptOutput.h"
#include "child/Report.h"
#include "child/win32/Report.h"

#include <QvPlatform/core/StringConversions.h>

#include "base/QuotedArgument.h"

#include <algorithm>
#include <array>
#include <optional>
#include <thread>
#include <utility>

namespace qvp {
namespace {

using os::win32::Handle;
using QvPlatform::StringConversions::toNarrow;
using QvPlatform::StringConversions::toWide;

struct Pipe {
    Pipe() {
        HANDLE read = nullptr;
        HANDLE write = nullptr;
        if (!CreatePipe(&read, &write, nullptr, 0)) return;
        reading = Handle(read);
        writing = Handle(write);
        SetHandleInformation(write, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    }
    Handle reading;
    Handle writing;
};

// Reads a pipe to its end on its own thread, because the system cannot wait for pipes. The text is complete
// once no writer is left.
class Collector {
public:
    explicit Collector(Handle pipe) : thread_([this, own = std::move(pipe)] { collect(own.get()); }) {}
    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;
    ~Collector() { finish(); }

    std::string take() {
        finish();
        return kept_.take();
    }

private:
    void collect(HANDLE pipe) {
        std::array<char, 4096> bytes;
        DWORD count = 0;
        while (ReadFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) && count != 0)
            kept_.append({bytes.data(), count});
    }

    void finish() {
        if (thread_.joinable()) thread_.join();
    }

    KeptOutput kept_;
    std::thread thread_;
};

// Handed to the child, which maps it before it runs any plugin.
Handle createReport() {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return Handle(
        CreateFileMappingW(INVALID_HANDLE_VALUE, &inherited, PAGE_READWRITE, 0, sizeof(ReportArea), nullptr));
}

void readReport(HANDLE mapping, ChildEnd& end) {
    void* const memory = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, sizeof(ReportArea));
    if (!memory) return;
    const auto& area = *static_cast<const ReportArea*>(memory);
    const std::uint64_t size = area.size;
    end.calledExit = area.calledExit != 0;
    end.isReportFull = size > ReportArea::kCapacity;
    end.report.assign(area.text, std::min<std::uint64_t>(size, ReportArea::kCapacity));
    UnmapViewOfFile(memory);
}

// The handles that a new process inherits, and no others.
class InheritedHandles {
public:
    explicit InheritedHandles(std::array<HANDLE, 3> handles) : handles_(handles) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        storage_.resize(size);
        if (!InitializeProcThreadAttributeList(list(), 1, 0, &size)) return;
        isMade_ = true;
        UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                  sizeof handles_, nullptr, nullptr);
    }
    InheritedHandles(const InheritedHandles&) = delete;
    InheritedHandles& operator=(const InheritedHandles&) = delete;
    ~InheritedHandles() {
        if (isMade_) DeleteProcThreadAttributeList(list());
    }

    LPPROC_THREAD_ATTRIBUTE_LIST list() {
        return static_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(static_cast<void*>(storage_.data()));
    }

private:
    std::array<HANDLE, 3> handles_;
    std::string storage_;
    bool isMade_ = false;
};

Handle openNothing() {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return Handle(CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                              OPEN_EXISTING, 0, nullptr));
}

// A process that does not run yet; both handles are null on failure.
PROCESS_INFORMATION createSuspended(const std::wstring& program, const std::vector<std::string>& arguments,
                                    HANDLE output, HANDLE report) {
    std::wstring commandLine = L'"' + program + L'"';  // a path contains no quote
    for (const std::string& argument : arguments)
        commandLine += L' ' + toWide(base::quotedArgument(argument));
    const Handle nothing = openNothing();
    InheritedHandles inherited({nothing.get(), output, report});
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = nothing.get();
    startup.StartupInfo.hStdOutput = output;
    startup.StartupInfo.hStdError = output;
    startup.lpAttributeList = inherited.list();
    PROCESS_INFORMATION started{};
    SetEnvironmentVariableW(kReportVariable,
                            std::to_wstring(reinterpret_cast<std::uintptr_t>(report)).c_str());
    const BOOL isStarted = CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                                          CREATE_SUSPENDED | CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT,
                                          nullptr, nullptr, &startup.StartupInfo, &started);
    const DWORD error = GetLastError();
    SetEnvironmentVariableW(kReportVariable, nullptr);
    SetLastError(error);
    return isStarted ? started : PROCESS_INFORMATION{};
}

// Its processes end when its last handle is closed, and share the memory limit.
Handle createJob() {
    Handle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags =
        JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_JOB_MEMORY;
    limits.JobMemoryLimit = kMemoryLimit;
    SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
    return job;
}

ChildEnd notStarted(DWORD error, const std::string& file = {}) {
    std::wstring text = os::win32::wideErrorText(error);
    text.resize(text.find_last_not_of(L"\r\n ") + 1);
    ChildEnd end;
    end.code = static_cast<int>(error);
    end.text = (file.empty() ? file : file + ": ") + toNarrow(text);
    return end;
}

}  // namespace

struct RunningChild::Record {
    Record(Handle startedProcess, Handle itsJob, Pipe& outputPipe, Handle reportMemory)
        : process(std::move(startedProcess)),
          job(std::move(itsJob)),
          output(std::move(outputPipe.reading)),
          report(std::move(reportMemory)) {}
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
    ~Record() { endAll(); }

    // Ends the collector too: no writer is left.
    void endAll() {
        TerminateJobObject(job.get(), 1);
        TerminateProcess(process.get(), 1);
        WaitForSingleObject(process.get(), INFINITE);
    }

    Handle process;
    Handle job;
    Collector output;
    Handle report;
    bool hasEnded = false;
};

RunningChild::RunningChild(std::unique_ptr<Record> record) : record_(std::move(record)) {}
RunningChild::RunningChild(RunningChild&& other) noexcept = default;
RunningChild& RunningChild::operator=(RunningChild&& other) noexcept = default;
RunningChild::~RunningChild() = default;

std::variant<RunningChild, ChildEnd> RunningChild::start(const std::vector<std::string>& arguments) {
    Pipe output;
    if (!output.reading) return notStarted(GetLastError());
    Handle report = createReport();
    if (!report) return notStarted(GetLastError());
    const std::string program = hostProgram();
    const auto create = [&] {
        return createSuspended(toWide(program), arguments, output.writing.get(), report.get());
    };
    PROCESS_INFORMATION started = create();
    // Wine rarely fails like this, and succeeds the next time.
    if (!started.hProcess && GetLastError() == ERROR_INTERNAL_ERROR) started = create();
    if (!started.hProcess) return notStarted(GetLastError(), program);
    const Handle thread(started.hThread);
    Handle job = createJob();
    const bool isInJob = AssignProcessToJobObject(job.get(), started.hProcess);
    const DWORD error = GetLastError();
    output.writing = Handle();
    auto record =
        std::make_unique<Record>(Handle(started.hProcess), std::move(job), output, std::move(report));
    if (!isInJob) return notStarted(error);
    ResumeThread(thread.get());
    return RunningChild(std::move(record));
}

void RunningChild::wait(const std::vector<RunningChild*>& children, std::chrono::milliseconds time) {
    std::vector<HANDLE> processes;
    for (const RunningChild* child : children) processes.push_back(child->record_->process.get());
    constexpr std::chrono::milliseconds::rep kLongest = 0x7FFFFFFF;
    WaitForMultipleObjects(static_cast<DWORD>(processes.size()), processes.data(), FALSE,
                           static_cast<DWORD>(std::min(time.count(), kLongest)));
    for (RunningChild* child : children)
        child->record_->hasEnded = WaitForSingleObject(child->record_->process.get(), 0) == WAIT_OBJECT_0;
}

bool RunningChild::hasEnded() const { return record_->hasEnded; }

std::chrono::milliseconds RunningChild::processorTime() const {
    std::array<FILETIME, 4> times{};  // of creation and exit, in the kernel and in its own code
    if (!GetProcessTimes(record_->process.get(), &times[0], &times[1], &times[2], &times[3])) return {};
    const auto ticks = [](const FILETIME& time) {
        return (std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime;
    };
    constexpr std::uint64_t kTicksPerMillisecond = 10000;
    return std::chrono::milliseconds((ticks(times[2]) + ticks(times[3])) / kTicksPerMillisecond);
}

ChildEnd RunningChild::end() {
    DWORD code = 0;
    GetExitCodeProcess(record_->process.get(), &code);
    record_->endAll();
    ChildEnd end;
    end.kind = ChildEnd::Kind::timedOut;
    if (record_->hasEnded) {
        end.code = static_cast<int>(code);
        end.text = crashText(code);
        end.kind = end.text.empty() ? ChildEnd::Kind::exited : ChildEnd::Kind::crashed;
    }
    readReport(record_->report.get(), end);
    end.output = record_->output.take();
    return end;
}

}  // namespace qvp
