#include "os/posix/stack/DebugInfo.h"

#include "os/ProcessLock.h"
#include "os/posix/stack/DebugLibrary.h"
#include "os/posix/stack/LocalDebugFile.h"

#include <cerrno>
#include <mutex>

namespace os::posix {
namespace {

// The library does not promise that its functions can run at the same time.
constexpr ProcessLock kLibraryLock{LockRank::debugInfo};

using FrameTaker = std::function<bool(std::uintptr_t, bool)>;

}  // namespace

struct DebugInfo::Session {
    explicit Session(const DebugLibrary& functions) : library(functions) {
        callbacks.find_elf = library.dwfl_linux_proc_find_elf;
        callbacks.find_debuginfo = findLocalDebugFile;
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session() { forget(); }

    void forget() {
        if (dwfl) library.dwfl_end(dwfl);
        dwfl = nullptr;
        isAttached = false;
    }

    int report(pid_t process) {
        if (!dwfl) dwfl = library.dwfl_begin(&callbacks);
        if (!dwfl) return ENOMEM;
        library.dwfl_report_begin(dwfl);
        const int error = library.dwfl_linux_proc_report(dwfl, process);
        library.dwfl_report_end(dwfl, nullptr, nullptr);
        return error >= 0 ? error : ESRCH;
    }

    // The library picks the last unit, and in it the last line, that begins at or before the address, even if
    // it ends before the address. So this checks that the unit contains the address.
    void findLine(Dwfl_Module* module, std::uintptr_t address, Source& source) const {
        Dwarf_Addr bias = 0;
        if (Dwarf_Die* const unit = library.dwfl_module_addrdie(module, address, &bias))
            findLineInUnit(unit, address - bias, source);
        if (!source.file.empty()) return;
        // Some compilers write no table that maps addresses to units.
        for (Dwarf_Die* unit = library.dwfl_module_nextcu(module, nullptr, &bias);
             unit && source.file.empty(); unit = library.dwfl_module_nextcu(module, unit, &bias))
            findLineInUnit(unit, address - bias, source);
    }

    void findLineInUnit(Dwarf_Die* unit, Dwarf_Addr address, Source& source) const {
        if (library.dwarf_haspc(unit, address) != 1) return;
        takeLine(library.dwarf_getsrc_die(unit, address), source);
    }

    void takeLine(Dwarf_Line* line, Source& source) const {
        const char* const file = line ? library.dwarf_linesrc(line, nullptr, nullptr) : nullptr;
        if (file && library.dwarf_lineno(line, &source.line) == 0) source.file = file;
    }

    const DebugLibrary& library;
    Dwfl_Callbacks callbacks{};
    Dwfl* dwfl = nullptr;
    bool isAttached = false;
};

std::unique_ptr<DebugInfo> DebugInfo::open(pid_t process) {
    const DebugLibrary* const library = DebugLibrary::get();
    return library ? std::unique_ptr<DebugInfo>(new DebugInfo(*library, process)) : nullptr;
}

DebugInfo::DebugInfo(const DebugLibrary& library, pid_t process)
    : library_(library), session_(std::make_unique<Session>(library)), process_(process) {}

DebugInfo::~DebugInfo() {
    const std::lock_guard guard(kLibraryLock);
    session_.reset();
}

int DebugInfo::refresh(bool forget) {
    const std::lock_guard guard(kLibraryLock);
    if (forget) session_->forget();
    return session_->report(process_);
}

DebugInfo::Source DebugInfo::find(std::uintptr_t address) {
    const std::lock_guard guard(kLibraryLock);
    Source source;
    Dwfl_Module* const module = session_->dwfl ? library_.dwfl_addrmodule(session_->dwfl, address) : nullptr;
    if (!module) return source;
    const char* const symbol = library_.dwfl_module_addrname(module, address);
    source.symbol = symbol ? symbol : "";
    session_->findLine(module, address, source);
    return source;
}

std::string DebugInfo::moduleAt(std::uintptr_t address, std::uintptr_t& base) {
    const std::lock_guard guard(kLibraryLock);
    Dwfl_Module* const module = session_->dwfl ? library_.dwfl_addrmodule(session_->dwfl, address) : nullptr;
    if (!module) return {};
    Dwarf_Addr begin = 0;
    const char* const name =
        library_.dwfl_module_info(module, nullptr, &begin, nullptr, nullptr, nullptr, nullptr, nullptr);
    base = begin;
    return name ? name : "";
}

bool DebugInfo::hasLines(std::uintptr_t address) {
    const std::lock_guard guard(kLibraryLock);
    Dwfl_Module* const module = session_->dwfl ? library_.dwfl_addrmodule(session_->dwfl, address) : nullptr;
    Dwarf_Addr bias = 0;
    return module && library_.dwfl_module_getdwarf(module, &bias) != nullptr;
}

int DebugInfo::walkThread(pid_t thread, const FrameTaker& take) {
    struct Walk {
        const DebugLibrary& library;
        const FrameTaker& take;
        bool hasTaken = false;
        int error = 0;
    };
    const auto takeFrame = [](Dwfl_Frame* frame, void* argument) -> int {
        auto& walk = *static_cast<Walk*>(argument);
        Dwarf_Addr address = 0;
        bool isInterrupted = false;
        if (!walk.library.dwfl_frame_pc(frame, &address, &isInterrupted)) return DWARF_CB_ABORT;
        walk.hasTaken = true;
        try {
            walk.error = walk.take(address, isInterrupted) ? 0 : E2BIG;
        } catch (const std::bad_alloc&) {
            walk.error = ENOMEM;  // the thread must still be resumed
        }
        return walk.error == 0 ? DWARF_CB_OK : DWARF_CB_ABORT;
    };
    const std::lock_guard guard(kLibraryLock);
    if (!session_->dwfl) return ESRCH;
    errno = 0;
    if (!session_->isAttached) {
        const int error = library_.dwfl_linux_proc_attach(session_->dwfl, process_, false);
        if (error != 0) return error > 0 ? error : ESRCH;
        session_->isAttached = true;
    }
    Walk walk{library_, take};
    errno = 0;
    if (library_.dwfl_getthread_frames(session_->dwfl, thread, takeFrame, &walk) == 0) return 0;
    if (walk.error != 0) return walk.error;
    if (walk.hasTaken) return ENODATA;
    return errno != 0 ? errno : ESRCH;
}

}  // namespace os::posix
