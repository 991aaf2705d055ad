#include "os/posix/DebugInfo.h"

#include <dlfcn.h>
#include <elfutils/libdwfl.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>

namespace os::posix {
namespace {

constinit std::mutex libraryLock;

using FrameTaker = std::function<bool(std::uintptr_t, bool)>;

}  // namespace

// The functions carry the names of the library's.
struct DebugInfo::Library {
    Library() = default;
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() {
        if (handle) dlclose(handle);
    }

    template <typename Function>
    bool resolve(Function*& function, const char* name) {
        void* const address = dlsym(handle, name);
        function = reinterpret_cast<Function*>(address);
        return address != nullptr;
    }

    bool open() {
        const char* const name = std::getenv("QV_LIBDW");
        handle = dlopen(name && *name ? name : "libdw.so.1", RTLD_NOW | RTLD_LOCAL);
        return handle && resolveSession() && resolveLookUps() && resolveWalking();
    }

    bool resolveSession() {
        return resolve(begin, "dwfl_begin") && resolve(end, "dwfl_end") &&
               resolve(reportBegin, "dwfl_report_begin") && resolve(reportEnd, "dwfl_report_end") &&
               resolve(reportProcess, "dwfl_linux_proc_report") &&
               resolve(findElf, "dwfl_linux_proc_find_elf") &&
               resolve(findDebugInfo, "dwfl_standard_find_debuginfo");
    }
    bool resolveLookUps() {
        return resolve(moduleAt, "dwfl_addrmodule") && resolve(moduleInfo, "dwfl_module_info") &&
               resolve(symbolName, "dwfl_module_addrname") && resolve(sourceLine, "dwfl_module_getsrc") &&
               resolve(lineInfo, "dwfl_lineinfo") && resolve(nextUnit, "dwfl_module_nextcu") &&
               resolve(getDwarf, "dwfl_module_getdwarf") && resolve(hasAddress, "dwarf_haspc") &&
               resolve(unitLine, "dwarf_getsrc_die") && resolve(lineFile, "dwarf_linesrc") &&
               resolve(lineNumber, "dwarf_lineno");
    }
    bool resolveWalking() {
        return resolve(attach, "dwfl_linux_proc_attach") && resolve(walk, "dwfl_getthread_frames") &&
               resolve(frameAddress, "dwfl_frame_pc");
    }

    void* handle = nullptr;
    decltype(dwfl_begin)* begin = nullptr;
    decltype(dwfl_end)* end = nullptr;
    decltype(dwfl_report_begin)* reportBegin = nullptr;
    decltype(dwfl_report_end)* reportEnd = nullptr;
    decltype(dwfl_linux_proc_report)* reportProcess = nullptr;
    decltype(dwfl_linux_proc_find_elf)* findElf = nullptr;
    decltype(dwfl_standard_find_debuginfo)* findDebugInfo = nullptr;
    decltype(dwfl_addrmodule)* moduleAt = nullptr;
    decltype(dwfl_module_info)* moduleInfo = nullptr;
    decltype(dwfl_module_addrname)* symbolName = nullptr;
    decltype(dwfl_module_getsrc)* sourceLine = nullptr;
    decltype(dwfl_lineinfo)* lineInfo = nullptr;
    decltype(dwfl_module_nextcu)* nextUnit = nullptr;
    decltype(dwfl_module_getdwarf)* getDwarf = nullptr;
    decltype(dwarf_haspc)* hasAddress = nullptr;
    decltype(dwarf_getsrc_die)* unitLine = nullptr;
    decltype(dwarf_linesrc)* lineFile = nullptr;
    decltype(dwarf_lineno)* lineNumber = nullptr;
    decltype(dwfl_linux_proc_attach)* attach = nullptr;
    decltype(dwfl_getthread_frames)* walk = nullptr;
    decltype(dwfl_frame_pc)* frameAddress = nullptr;
};

struct DebugInfo::Session {
    explicit Session(const Library& functions) : library(functions) {
        callbacks.find_elf = library.findElf;
        callbacks.find_debuginfo = library.findDebugInfo;
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session() { forget(); }

    void forget() {
        if (dwfl) library.end(dwfl);
        dwfl = nullptr;
        isAttached = false;
    }

    int report(pid_t process) {
        if (!dwfl) dwfl = library.begin(&callbacks);
        if (!dwfl) return ENOMEM;
        library.reportBegin(dwfl);
        const int error = library.reportProcess(dwfl, process);
        library.reportEnd(dwfl, nullptr, nullptr);
        return error >= 0 ? error : ESRCH;
    }

    void findLine(Dwfl_Module* module, std::uintptr_t address, Source& source) const {
        Dwarf_Addr at = address;
        if (Dwfl_Line* const line = library.sourceLine(module, address)) {
            const char* const file = library.lineInfo(line, &at, &source.line, nullptr, nullptr, nullptr);
            source.file = file ? file : "";
            return;
        }
        findLineInUnits(module, address, source);
    }

    // Some compilers leave no table of which addresses belong to which unit.
    void findLineInUnits(Dwfl_Module* module, std::uintptr_t address, Source& source) const {
        Dwarf_Addr bias = 0;
        for (Dwarf_Die* unit = library.nextUnit(module, nullptr, &bias); unit;
             unit = library.nextUnit(module, unit, &bias)) {
            if (library.hasAddress(unit, address - bias) != 1) continue;
            Dwarf_Line* const line = library.unitLine(unit, address - bias);
            const char* const file = line ? library.lineFile(line, nullptr, nullptr) : nullptr;
            if (!file || library.lineNumber(line, &source.line) != 0) continue;
            source.file = file;
            return;
        }
    }

    const Library& library;
    Dwfl_Callbacks callbacks{};
    Dwfl* dwfl = nullptr;
    bool isAttached = false;
};

std::unique_ptr<DebugInfo> DebugInfo::open(pid_t process) {
    auto library = std::make_unique<Library>();
    if (!library->open()) return nullptr;
    return std::unique_ptr<DebugInfo>(new DebugInfo(std::move(library), process));
}

DebugInfo::DebugInfo(std::unique_ptr<Library> library, pid_t process)
    : library_(std::move(library)), session_(std::make_unique<Session>(*library_)), process_(process) {}

DebugInfo::~DebugInfo() {
    const std::lock_guard guard(libraryLock);
    session_.reset();
}

int DebugInfo::refresh(bool forget) {
    const std::lock_guard guard(libraryLock);
    if (forget) session_->forget();
    return session_->report(process_);
}

DebugInfo::Source DebugInfo::find(std::uintptr_t address) {
    const std::lock_guard guard(libraryLock);
    Source source;
    Dwfl_Module* const module = session_->dwfl ? library_->moduleAt(session_->dwfl, address) : nullptr;
    if (!module) return source;
    const char* const symbol = library_->symbolName(module, address);
    source.symbol = symbol ? symbol : "";
    session_->findLine(module, address, source);
    return source;
}

std::string DebugInfo::moduleAt(std::uintptr_t address, std::uintptr_t& base) {
    const std::lock_guard guard(libraryLock);
    Dwfl_Module* const module = session_->dwfl ? library_->moduleAt(session_->dwfl, address) : nullptr;
    if (!module) return {};
    Dwarf_Addr begin = 0;
    const char* const name =
        library_->moduleInfo(module, nullptr, &begin, nullptr, nullptr, nullptr, nullptr, nullptr);
    base = begin;
    return name ? name : "";
}

bool DebugInfo::hasLines(std::uintptr_t address) {
    const std::lock_guard guard(libraryLock);
    Dwfl_Module* const module = session_->dwfl ? library_->moduleAt(session_->dwfl, address) : nullptr;
    Dwarf_Addr bias = 0;
    return module && library_->getDwarf(module, &bias) != nullptr;
}

int DebugInfo::walkThread(pid_t thread, const FrameTaker& take) {
    struct Walk {
        const Library& library;
        const FrameTaker& take;
        bool hasTaken = false;
    };
    const auto takeFrame = [](Dwfl_Frame* frame, void* argument) -> int {
        auto& walk = *static_cast<Walk*>(argument);
        Dwarf_Addr address = 0;
        bool isInterrupted = false;
        if (!walk.library.frameAddress(frame, &address, &isInterrupted)) return DWARF_CB_ABORT;
        walk.hasTaken = true;
        return walk.take(address, isInterrupted) ? DWARF_CB_OK : DWARF_CB_ABORT;
    };
    const std::lock_guard guard(libraryLock);
    if (!session_->dwfl) return ESRCH;
    errno = 0;
    if (!session_->isAttached) {
        const int error = library_->attach(session_->dwfl, process_, false);
        if (error != 0) return error > 0 ? error : ESRCH;
        session_->isAttached = true;
    }
    Walk walk{*library_, take};
    errno = 0;
    const int result = library_->walk(session_->dwfl, thread, takeFrame, &walk);
    // The information may lack what tells that a frame is the outermost one.
    if (result == 0 || walk.hasTaken) return 0;
    return errno != 0 ? errno : ESRCH;
}

}  // namespace os::posix
