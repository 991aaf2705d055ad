// Logs where waiting is not allowed on Windows: while this library is initialized under the loader's lock,
// and while it is unloaded by a process whose other threads were killed.

#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/diagnostics/LogFile.h>
#include <QvPlatform/system/Process.h>

#include <windows.h>

#include <atomic>
#include <string>
#include <thread>

namespace {

HANDLE pipe = INVALID_HANDLE_VALUE;
std::atomic<int> lines{0};

struct Logging {
    Logging() {
        Qv::LogSetRegExFilter("^(.|b)*a$");
        Qv::LogWarn("%s", std::string(4000, 'a').c_str());
        Qv::LogSetRegExFilter("");
    }
    ~Logging() {
        CloseHandle(pipe);
        Qv::LogWarn("the thread that wrote to the log file is gone");
        Qv::setLogFile("");
    }
} const logging;

void waitUntilNobodyGoesOn() {
    for (int seen = -1; seen != lines; Sleep(200)) seen = lines;
}

}  // namespace

/// Starts a thread that blocks while writing to a log file.
extern "C" __declspec(dllexport) bool blockWriter() {
    const std::string base = "\\\\.\\pipe\\qv-log";
    const std::string name = base + "_" + QvSim::Process::getHostName() + "_" +
                             std::to_string(QvSim::Process::getProcessID()) + ".log";
    pipe = CreateNamedPipeA(name.c_str(), PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE, 1, 4096, 4096, 0, nullptr);
    Qv::setLogFile(base);
    std::thread([] {
        for (;; ++lines) Qv::printToLogFile("a line of the thread\n");
    }).detach();
    waitUntilNobodyGoesOn();
    return lines > 0 && lines < 1000;
}
