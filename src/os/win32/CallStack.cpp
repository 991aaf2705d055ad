// Order: `start`, then `next` until the program counter is 0 or an error occurs; `describe` after a `start`
// that succeeded. `start` copies the used part of the stack together with the registers; `next` then walks
// the copy with the debugging-help library while the thread runs on. Memory outside the copy is read live.
//
// While a thread is suspended there are only system calls: no lock is taken and no memory allocated, because
// the suspended thread may hold the lock. If the buffer is too small, the thread is resumed first and the
// copy is tried again with a larger one. `library_` is destroyed before `process_`, whose handle identifies
// the symbol session.

#include "os/CallStack.h"

#include "os/win32/DebugHelp.h"

#include <tlhelp32.h>

#include <bit>
#include <set>

extern "C" LONG NTAPI NtCompareObjects(HANDLE first, HANDLE second);

namespace os {
namespace {

constexpr std::size_t kMostFrames = std::size_t{1} << 20U;

// Needs no access right, unlike getting the thread's id.
bool isCallingThread(HANDLE thread) { return NtCompareObjects(thread, GetCurrentThread()) == 0; }

/// The content of a stack at one moment. The thread runs on during the walk, because walking takes locks that
/// the thread may hold.
struct StackCopy {
    DWORD64 begin = 0;
    std::vector<char> bytes;
};

// Set before each step, because the library passes no argument to the memory reader.
thread_local const StackCopy* walkedStack = nullptr;

BOOL CALLBACK readMemory(HANDLE process, DWORD64 address, void* buffer, DWORD size, DWORD* read) {
    const StackCopy& copy = *walkedStack;
    const DWORD64 offset = address - copy.begin;
    if (address >= copy.begin && offset <= copy.bytes.size() && size <= copy.bytes.size() - offset) {
        std::copy_n(copy.bytes.data() + offset, size, static_cast<char*>(buffer));
        *read = size;
        return TRUE;
    }
    SIZE_T done = 0;
    const BOOL isRead = ReadProcessMemory(process, std::bit_cast<void*>(address), buffer, size, &done);
    *read = static_cast<DWORD>(done);
    return isRead;
}

// From the stack pointer to the end of the committed part that it points into.
SIZE_T usedStackSize(HANDLE process, DWORD64 stackPointer) {
    MEMORY_BASIC_INFORMATION region{};
    if (!VirtualQueryEx(process, std::bit_cast<void*>(stackPointer), &region, sizeof region)) return 0;
    if (region.State != MEM_COMMIT) return 0;
    return std::bit_cast<DWORD64>(region.BaseAddress) + region.RegionSize - stackPointer;
}

class ProcessWalker : public StackWalker {
public:
    // Each walker uses its own process handle, because the library identifies a session by it.
    ProcessWalker(DWORD processId, HANDLE process, const std::string& searchPath,
                  void (*inform)(const std::string&))
        : processId_(processId),
          process_(ownHandle(processId, process)),
          searchPath_(searchPath),
          inform_(inform) {}

    ErrorCode start(const StackThread& thread, const _CONTEXT* context, std::string& notice) override {
        if (!process_) return openError_;
        if (!library_) library_ = win32::DebugHelp::open();
        if (!library_) {
            notice = "Failed to load dll.\n";
            return GetLastError();
        }
        if (!library_->refresh(processId_, process_.get(), searchPath_, inform_)) {
            notice = "Error while initializing dbghelp.dll\n";
            return GetLastError();
        }
        if (const ErrorCode error = takeStack(thread, context); error != 0) return error;
        frame_ = {};
        frame_.AddrPC = {context_.Rip, 0, AddrModeFlat};
        frame_.AddrFrame = {context_.Rbp, 0, AddrModeFlat};
        frame_.AddrStack = {context_.Rsp, 0, AddrModeFlat};
        count_ = 0;
        return 0;
    }

    ErrorCode next(StackFrame& frame) override {
        const bool isInnermost = count_ == 0;
        if (!isInnermost && frame_.AddrReturn.Offset == 0) return 0;
        frame.programCounter = frame_.AddrPC.Offset;
        if (isInnermost && frame.programCounter == 0) return ERROR_INVALID_ADDRESS;  // a call through null
        if (count_++ == kMostFrames) return ERROR_STACK_OVERFLOW;
        walkedStack = &stack_;
        const ErrorCode error = library_->step(threadHandle_, frame_, context_, readMemory);
        frame.programCounter = frame_.AddrPC.Offset;
        frame.returnAddress = frame_.AddrReturn.Offset;
        frame.isInterrupted = isInnermost;
        return error;
    }

    const AddressDescription& describe(const StackFrame& frame) override {
        const DWORD64 address = frame.programCounter - (frame.isInterrupted ? 0 : 1);
        known_ = library_->describe(address);
        if (!known_.module.empty() && seenModules_.insert(known_.module).second)
            inform_("Module: '" + known_.module + "', symbols: " + known_.symbolKind + "\n");
        return known_;
    }

private:
    win32::Handle ownHandle(DWORD processId, HANDLE given) {
        if (!given && processId != GetCurrentProcessId()) {
            win32::Handle opened(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId));
            if (!opened) openError_ = GetLastError();
            return opened;
        }
        const HANDLE own = GetCurrentProcess();
        HANDLE copy = nullptr;
        if (!DuplicateHandle(own, given ? given : own, own, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS))
            openError_ = GetLastError();
        return win32::Handle(copy);
    }

    bool isCurrent(const StackThread& thread) const {
        if (processId_ != GetCurrentProcessId()) return false;
        if (thread.handle) return isCallingThread(thread.handle);
        return thread.id == 0 || thread.id == GetCurrentThreadId();
    }

    ErrorCode takeStack(const StackThread& thread, const _CONTEXT* context) {
        threadHandle_ = GetCurrentThread();
        if (context) {
            context_ = *context;
            return copyStack();
        }
        if (isCurrent(thread)) {
            RtlCaptureContext(&context_);
            return copyStack();
        }
        if (thread.handle) return stopAndCopy(thread.handle);
        unsigned long id = thread.id;
        if (id == 0) {
            const auto ids = threadIds(processId_);
            if (!ids.empty()) id = ids.front();
        }
        constexpr DWORD kAccess = THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT | THREAD_QUERY_INFORMATION;
        const win32::Handle opened(OpenThread(kAccess, FALSE, id));
        return opened ? stopAndCopy(opened.get()) : GetLastError();
    }

    ErrorCode stopAndCopy(HANDLE thread) {
        for (;;) {
            if (SuspendThread(thread) == static_cast<DWORD>(-1)) return GetLastError();
            context_ = {};
            context_.ContextFlags = CONTEXT_FULL;
            ErrorCode error = GetThreadContext(thread, &context_) ? 0 : GetLastError();
            const SIZE_T size = error == 0 ? usedStackSize(process_.get(), context_.Rsp) : 0;
            const bool fits = size <= stack_.bytes.capacity();
            if (error == 0 && fits) error = copyStack();
            ResumeThread(thread);
            if (fits) return error;
            stack_.bytes.reserve(2 * size);
        }
    }

    ErrorCode copyStack() {
        stack_.begin = context_.Rsp;
        stack_.bytes.resize(usedStackSize(process_.get(), context_.Rsp));
        SIZE_T read = 0;
        if (!ReadProcessMemory(process_.get(), std::bit_cast<void*>(stack_.begin), stack_.bytes.data(),
                               stack_.bytes.size(), &read))
            stack_.bytes.clear();
        return 0;
    }

    DWORD processId_;
    ErrorCode openError_ = 0;
    win32::Handle process_;
    std::string searchPath_;
    void (*inform_)(const std::string&);
    std::unique_ptr<win32::DebugHelp> library_;
    HANDLE threadHandle_ = nullptr;
    CONTEXT context_{};
    STACKFRAME64 frame_{};
    std::size_t count_ = 0;  ///< frames walked so far
    StackCopy stack_;
    AddressDescription known_;
    std::set<std::string> seenModules_;
};

}  // namespace

// Each walker opens the library itself.
void openStackSymbols() {}

std::unique_ptr<StackWalker> makeStackWalker(unsigned long processId, void* processHandle,
                                             const std::string& searchPath,
                                             void (*inform)(const std::string&)) {
    return std::make_unique<ProcessWalker>(processId, processHandle, searchPath, inform);
}

std::vector<unsigned long> threadIds(unsigned long processId) {
    std::vector<unsigned long> ids;
    const win32::Handle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL found = snapshot && Thread32First(snapshot.get(), &entry); found;
         found = Thread32Next(snapshot.get(), &entry))
        if (entry.th32OwnerProcessID == processId) ids.push_back(entry.th32ThreadID);
    return ids;
}

}  // namespace os
