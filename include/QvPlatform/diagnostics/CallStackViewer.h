#pragma once

#include <QvPlatform/core/Export.h>

#include <memory>
#include <string>
#include <vector>

/// A thread's registers. On Windows this is the system's own type. On Linux it is an opaque stand-in for
/// `ucontext_t`: cast the `ucontext_t` pointer, such as a signal handler's third argument.
struct _CONTEXT;           // NOLINT(bugprone-reserved-identifier): the system's name
typedef _CONTEXT CONTEXT;  // NOLINT(modernize-use-using): the system's declaration is the same
                           // whether it is read before or after this one

namespace QvPlatform {

/// The call stack of a thread as text, for reports of crashes and failed assertions.
///
///     CallStackViewer viewer(QvSim::Process::getProcessID(), nullptr);
///     viewer.getCallstack(nullptr, nullptr);
///     std::cerr << viewer.getOutput();
///
/// Each frame is a line, the innermost first: "file (line): function" if the source is known, else "address
/// (module+offset): (filename not available): function", as in "libphysics.so+0x1a2b". Each failed lookup
/// adds a line "ERROR: call, GetLastError: code (Address: address)", with the system's error code, before the
/// line of its frame. If a frame repeats its caller's address more than 1000 times, the walk ends, so the
/// text of a runaway recursion is bounded.
///
/// On Windows symbols are read with dbghelp.dll, which is opened at a viewer's first walk. On Linux they are
/// read with libdw.so.1 (package libdw1), or the library named by the environment variable QV_LIBDW. The
/// process's first viewer opens it on a separate thread. Opening waits for any thread that is in the loader,
/// such as in a static initializer. The first viewer waits at most two seconds for the opening; later ones do
/// not wait. While libdw is missing or not open, names come from the dynamic symbols only. Therefore create a
/// viewer when the crash handler is installed, so that a crash in a static initializer has source lines too.
/// Files with debugging information are searched for on this machine only; `DEBUGINFOD_URLS` has no effect.
/// Libraries loaded since the last walk are found.
///
/// One thread at a time may use an object; threads may use different objects at once. Walking allocates
/// memory and takes locks. On Linux, for addresses that are new to the viewer, it also starts a short-lived
/// thread with all signals blocked. In a signal handler, walking works unless the crash happened within the
/// allocator or in thread creation, so put a time limit on a crash report. 32 KiB of alternate signal stack
/// are enough. A corrupt stack is walked as far as it is plausible; unmapped memory is never read.
class QV_API CallStackViewer {
public:
    /// Selects the process to inspect. On Windows `processHandle` is a handle with the right to read its
    /// memory; if it is null, the process is the running one or is opened by its identifier. The caller still
    /// owns the handle. Linux ignores it.
    CallStackViewer(unsigned long processId, void* processHandle);
    CallStackViewer(const CallStackViewer&) = delete;
    CallStackViewer& operator=(const CallStackViewer&) = delete;
    virtual ~CallStackViewer();

    /// Walks the stack of a thread, from `context` if it is not null; `context` is not modified. Returns true
    /// if the outermost frame is reached. If the walk ends earlier, returns false and adds an error line with
    /// the address of the last frame. This happens for code without unwind information, for corrupt stacks,
    /// for more than 2^20 frames and, on Linux, for more than 4096 frames of another thread (error 7).
    ///
    /// If `threadHandle` is null, the thread is the calling thread, or the first thread of another process.
    /// Otherwise, on Windows it is a handle with the rights to suspend the thread and read its registers. On
    /// Linux it is a `pthread_t` cast to a pointer; for another process, it is the system's thread number
    /// cast to a pointer.
    ///
    /// Another thread is stopped while its stack is read, then continues. On Linux it is interrupted by the
    /// highest real-time signal that has no action at the first such walk; from then on the library owns that
    /// signal. A blocking call of that thread may therefore return early with EINTR (`poll`, `nanosleep`,
    /// `sem_timedwait`). If the thread does not accept the signal within a second, the result is error 110.
    /// If a context is given for another thread, that thread must not run during the walk.
    ///
    /// Reading another process requires the rights of a debugger on both systems. On Linux `context` is then
    /// ignored.
    bool getCallstack(void* threadHandle, const CONTEXT* context);

    /// The same for a thread given by the system's number, as in `getThreadIds`.
    bool getCallstackOfThread(unsigned long threadId, const CONTEXT* context);

    /// The text of the last walk; "" before the first.
    std::string getOutput() const;

    /// The system's numbers of all threads of the process, including those started by libraries; empty if
    /// unavailable. Any thread.
    static std::vector<unsigned long> getThreadIds(unsigned long processId);
    /// The system's number of the calling thread.
    static unsigned long getCurrentThreadId();

private:
    struct Record;
    std::unique_ptr<Record> record_;
};

}  // namespace QvPlatform
