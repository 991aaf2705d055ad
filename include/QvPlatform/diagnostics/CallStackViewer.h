#pragma once

#include <QvPlatform/core/Export.h>

#include <memory>
#include <string>
#include <vector>

/// A thread's registers: the system's own type on Windows; on Linux an opaque stand-in for `ucontext_t`, to
/// whose address a cast leads, such as that of a signal handler's third argument.
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
/// Each frame is a line, the innermost first: "file (line): function" where the source is known, else
/// "address (module): (filename not available): function". On Linux the module stands with the address's
/// offset in it, as in "libphysics.so+0x1a2b". Whatever cannot be found out is a line of its own,
/// "ERROR: call, GetLastError: code (Address: address)", before the line of the frame it belongs to, with the
/// system's code. A frame that repeats its caller's address more than 1000 times ends the stack, so the text
/// of a runaway recursion stays bounded.
///
/// Windows reads symbols by dbghelp.dll, opened at a viewer's first walk. Linux reads them by libdw.so.1
/// (package libdw1) or the library that the environment variable QV_LIBDW names, opened by the process's
/// first viewer on a thread of its own. Opening waits for whoever is in the loader, such as a static
/// initializer; the first viewer waits for it two seconds at most and later ones do not wait. While libdw is
/// missing or not open, names come from the dynamic symbols only. So make a viewer when the crash handler is
/// installed: then there are lines for a crash in a static initializer, too. Files with debugging information
/// are looked for on this machine only; `DEBUGINFOD_URLS` has no effect. Libraries that were loaded since the
/// last walk are found.
///
/// Objects are for one thread at a time, different ones for any threads at once. Walking allocates memory,
/// takes locks and, on Linux, starts a short-lived thread with all signals blocked for addresses that are new
/// to the viewer. From a signal handler it works as long as the crash did not happen within the allocator or
/// the creation of a thread, so put a time limit on a crash report. 32 KiB of alternate signal stack are
/// enough. A stack that a crash left broken is walked as far as it makes sense, and no memory is read that is
/// not there.
class QV_API CallStackViewer {
public:
    /// The process to inspect. On Windows `processHandle` is a handle to it that may read its memory, null
    /// for the running process or to have it opened by its identifier; it stays the caller's. Linux ignores
    /// it.
    CallStackViewer(unsigned long processId, void* processHandle);
    CallStackViewer(const CallStackViewer&) = delete;
    CallStackViewer& operator=(const CallStackViewer&) = delete;
    virtual ~CallStackViewer();

    /// Walks the stack of a thread, from `context` if that is not null; `context` is left as it is. True if
    /// the outermost frame was reached; false, with an error line, if the walk ended before: the line gives
    /// the address of the last frame. So end stacks of code without unwind information, broken ones, those of
    /// more than 2^20 frames and, on Linux, those of more than 4096 frames of another thread (error 7).
    ///
    /// `threadHandle` null is the calling thread, or the first thread of another process. Otherwise it is on
    /// Windows a handle that may suspend the thread and read its registers, and on Linux a `pthread_t` cast
    /// to a pointer, or in another process the system's thread number cast to a pointer.
    ///
    /// Another thread is stopped for the moment of reading its stack and goes on unharmed. On Linux it is
    /// interrupted by the highest real-time signal that has no action at the first such walk, which from then
    /// on belongs to the library. So what the thread waits in may return early with EINTR (`poll`,
    /// `nanosleep`, `sem_timedwait`), and one that keeps the signal from coming for a second gives error 110.
    /// With a context from which another thread is to be read, that thread must not run meanwhile.
    ///
    /// Another process is on Windows and Linux only read with the rights of a debugger. On Linux a context is
    /// not used there.
    bool getCallstack(void* threadHandle, const CONTEXT* context);

    /// The same for the thread with the system's number, one of `getThreadIds`.
    bool getCallstackOfThread(unsigned long threadId, const CONTEXT* context);

    /// The text of the last walk, "" before the first.
    std::string getOutput() const;

    /// The system's numbers of all threads of the process, also of those that libraries have started; empty
    /// when it does not tell. Any thread.
    static std::vector<unsigned long> getThreadIds(unsigned long processId);
    /// The system's number of the calling thread.
    static unsigned long getCurrentThreadId();

private:
    struct Record;
    std::unique_ptr<Record> record_;
};

}  // namespace QvPlatform
