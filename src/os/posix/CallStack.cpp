// `start` reads the whole stack and looks up its names; `next` only returns what was read, and `describe` may
// be called for any frame. So the order is `start`, `next` until the program counter is 0 or an error occurs,
// and `start` again at any time. No lock is held between calls. If reading fails after some frames, `start`
// succeeds and `next` returns the error after the last frame.
//
// In this process, the calling thread and a given context are unwound directly, and another thread unwinds
// itself in a signal handler (`interruptThread`); a thread of another process is read through libdw
// (`DebugInfo`), on a stack of its own.

#include "os/CallStack.h"

#include "os/posix/PosixSupport.h"
#include "os/posix/stack/DebugLibrary.h"
#include "os/posix/stack/FrameUnwinder.h"
#include "os/posix/stack/OwnStack.h"
#include "os/posix/stack/StackSymbols.h"
#include "os/posix/stack/ThreadInterrupt.h"

#include <pthread.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cerrno>
#include <cstdio>

namespace os {
namespace {

constexpr std::size_t kMostFrames = 1 << 20;

bool isCurrent(const StackThread& thread) {
    if (thread.handle) return pthread_equal(std::bit_cast<pthread_t>(thread.handle), pthread_self()) != 0;
    return thread.id == 0 || thread.id == static_cast<unsigned long>(gettid());
}

void informOfSystem(const std::string& searchPath, void (*inform)(const std::string&)) {
    char line[1024];
    // The user's number, because looking up the name may open libraries and so wait for the loader.
    std::snprintf(line, sizeof line, "SymInit: Symbol-SearchPath: '%s', symOptions: %d, UserName: '%u'\n",
                  searchPath.c_str(), 0, getuid());
    inform(line);
    utsname system{};
    int version[3] = {};
    uname(&system);
    std::sscanf(system.release, "%d.%d.%d", version, version + 1, version + 2);
    std::snprintf(line, sizeof line, "OS-Version: %d.%d.%d (%s) 0x%x-0x%x\n", version[0], version[1],
                  version[2], system.release, 0U, 0U);
    inform(line);
}

/// Frames that were found before, returned one by one.
class ReadStack : public StackWalker {
public:
    ErrorCode next(StackFrame& frame) override {
        if (position_ >= frames_.size()) {
            frame.programCounter = error_ != 0 && !frames_.empty() ? frames_.back().programCounter : 0;
            return static_cast<ErrorCode>(error_);
        }
        const posix::FrameAddress& address = frames_[position_++];
        frame.programCounter = address.programCounter;
        frame.isInterrupted = address.isInterrupted;
        if (position_ < frames_.size()) frame.returnAddress = frames_[position_].programCounter;
        return 0;
    }

protected:
    bool hasTaken(const posix::FrameAddress& frame) {
        if (frames_.size() == kMostFrames) return false;
        frames_.push_back(frame);
        return true;
    }

    std::vector<posix::FrameAddress> frames_;
    std::size_t position_ = 0;
    int error_ = 0;
};

class OwnProcessWalker : public ReadStack {
public:
    explicit OwnProcessWalker(void (*inform)(const std::string&)) : symbols_(getpid(), inform) {}

    ErrorCode start(const StackThread& thread, const _CONTEXT* context, std::string&) override {
        frames_.clear();
        position_ = 0;
        error_ = 0;
        if (context)
            walkFrom(*reinterpret_cast<const ucontext_t*>(context));
        else if (isCurrent(thread))
            walkFromHere();
        else
            walkOther(thread);
        if (frames_.empty()) return static_cast<ErrorCode>(error_);
        symbols_.prepare(frames_);
        return 0;
    }
    const AddressDescription& describe(const StackFrame& frame) override { return symbols_.describe(frame); }

private:
    auto taker() {
        return [this](const posix::FrameAddress& frame) { return hasTaken(frame); };
    }
    void walkFrom(const ucontext_t& context) {
        posix::FrameUnwinder unwinder(context);
        error_ = posix::walkOutwards(unwinder, taker());
    }
    void walkFromHere() { error_ = posix::walkFromHere(taker()); }
    void walkOther(const StackThread& thread) {
        posix::InterruptedStack stack = posix::interruptThread(thread);
        frames_ = std::move(stack.frames);
        error_ = stack.error;
    }

    posix::StackSymbols symbols_;
};

class OtherProcessWalker : public ReadStack {
public:
    OtherProcessWalker(pid_t process, void (*inform)(const std::string&))
        : process_(process), symbols_(process, inform) {}

    ErrorCode start(const StackThread& thread, const _CONTEXT*, std::string& notice) override {
        frames_.clear();
        position_ = 0;
        posix::DebugInfo* const debugInfo = symbols_.debugInfo();
        if (!debugInfo) {
            notice = "Failed to load dll.\n";
            return ENOSYS;
        }
        error_ = EAGAIN;
        posix::runOnOwnStack([&] {
            error_ = debugInfo->refresh(false);
            if (error_ == 0) error_ = debugInfo->walkThread(numberOf(thread), takeFrame());
        });
        if (frames_.empty()) return static_cast<ErrorCode>(error_);
        symbols_.prepare(frames_);
        return 0;
    }
    const AddressDescription& describe(const StackFrame& frame) override { return symbols_.describe(frame); }

private:
    std::function<bool(std::uintptr_t, bool)> takeFrame() {
        return [this](std::uintptr_t address, bool isInterrupted) {
            return hasTaken({address, isInterrupted});
        };
    }
    pid_t numberOf(const StackThread& thread) const {
        const auto number = thread.handle ? std::bit_cast<std::uintptr_t>(thread.handle) : thread.id;
        return number != 0 ? static_cast<pid_t>(number) : process_;
    }

    pid_t process_;
    posix::StackSymbols symbols_;
};

}  // namespace

void openStackSymbols() { posix::DebugLibrary::get(); }

// No handle is needed here, and symbol files are found by the build identifiers of the loaded files.
std::unique_ptr<StackWalker> makeStackWalker(unsigned long processId, void*, const std::string& searchPath,
                                             void (*inform)(const std::string&)) {
    informOfSystem(searchPath, inform);
    const auto process = static_cast<pid_t>(processId);
    if (process == getpid()) return std::make_unique<OwnProcessWalker>(inform);
    return std::make_unique<OtherProcessWalker>(process, inform);
}

std::vector<unsigned long> threadIds(unsigned long processId) {
    std::vector<unsigned long> ids;
    const std::string path = "/proc/" + std::to_string(processId) + "/task";
    const posix::DirectoryStream folder(opendir(path.c_str()));
    if (!folder) return ids;
    while (const dirent* entry = readdir(folder.get())) {
        const unsigned long id = std::strtoul(entry->d_name, nullptr, 10);
        if (id != 0) ids.push_back(id);
    }
    return ids;
}

}  // namespace os
