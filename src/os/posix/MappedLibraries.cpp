#include "os/MappedLibraries.h"

#include "os/posix/PosixSupport.h"
#include "os/posix/stack/LocalMemory.h"
#include "os/posix/stack/ThreadInterrupt.h"

#include <elf.h>
#include <sys/single_threaded.h>
#include <sys/stat.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <fstream>
#include <optional>

namespace os {
namespace {

// With this loader a handle is the library's record itself.
void* recordContaining(const void* address) {
    dl_find_object found{};
    const bool isFound = _dl_find_object(const_cast<void*>(address), &found) == 0;
    return isFound ? static_cast<void*>(found.dlfo_link_map) : nullptr;
}

void* recordOf(const posix::FrameAddress& frame) {
    const std::uintptr_t address = frame.programCounter - (frame.isInterrupted ? 0 : 1);
    return recordContaining(std::bit_cast<const void*>(address));
}

// Where a thread that waits in the kernel has its stack pointer; 0 if it runs, nothing if it has ended. The
// line of the system ends with the stack pointer and the program counter.
std::optional<std::uintptr_t> stackPointerOf(unsigned long threadId) {
    std::ifstream file("/proc/self/task/" + std::to_string(threadId) + "/syscall");
    std::string line;
    if (!std::getline(file, line)) return std::nullopt;
    const auto last = line.rfind(" 0x");
    const auto beforeLast = last == 0 || last == std::string::npos ? last : line.rfind(" 0x", last - 1);
    return beforeLast == std::string::npos ? 0 : std::strtoull(line.c_str() + beforeLast, nullptr, 16);
}

bool mayBeOnStack(const link_map& library, std::uintptr_t stackPointer) {
    constexpr std::uintptr_t kBytes = 1 << 16;
    dl_find_object found{};
    if (_dl_find_object(library.l_ld, &found) != 0) return false;
    const auto begin = std::bit_cast<std::uintptr_t>(found.dlfo_map_start);
    const auto end = std::bit_cast<std::uintptr_t>(found.dlfo_map_end);
    posix::LocalMemory memory;
    std::uintptr_t word = 0;
    for (std::uintptr_t at = stackPointer; at != stackPointer + kBytes && memory.read(at, word);
         at += sizeof word)
        if (word >= begin && word < end) return true;
    return false;
}

// Needs no memory. The folder's links are two, as of every folder, and one for each thread.
bool isOnlyThread() {
    struct stat folder {};
    return __libc_single_threaded || (stat("/proc/self/task", &folder) == 0 && folder.st_nlink == 3);
}

// A thread that cannot be interrupted and never waits may be anywhere.
bool isDeafThreadIn(const link_map& library, unsigned long threadId) {
    constexpr int kTries = 100;
    constexpr timespec kPause{0, 1'000'000};
    for (int i = 0; i < kTries; ++i) {
        const auto stackPointer = stackPointerOf(threadId);
        if (!stackPointer) return false;
        if (*stackPointer != 0) return mayBeOnStack(library, *stackPointer);
        nanosleep(&kPause, nullptr);
    }
    return true;
}

// A thread that does not answer in time is judged as one that blocks all signals.
bool isThreadIn(const link_map& library, unsigned long threadId) {
    if (posix::blocksInterrupt(threadId)) return isDeafThreadIn(library, threadId);
    const auto stack = posix::interruptThread({nullptr, threadId});
    if (stack.error == ETIMEDOUT) return isDeafThreadIn(library, threadId);
    return std::any_of(stack.frames.begin(), stack.frames.end(),
                       [&](const posix::FrameAddress& frame) { return recordOf(frame) == &library; });
}

/// The dynamic section of a library in memory, whose addresses the loader has relocated.
class DynamicSection {
public:
    explicit DynamicSection(const link_map& library) : entries_(library.l_ld) {}

    bool mustStay() const { return (valueOf(DT_FLAGS_1) & DF_1_NODELETE) != 0; }

    /// The name of a symbol that exists once in the process; "" if there is none.
    std::string uniqueSymbol() const {
        return findSymbol([](const Elf64_Sym& symbol, const char*) {
            return ELF64_ST_BIND(symbol.st_info) == STB_GNU_UNIQUE;
        });
    }

    /// Whether it registers destructors of thread-local objects.
    bool hasThreadLocalObjects() const {
        return !findSymbol([](const Elf64_Sym&, const char* name) {
                    return std::string_view(name).starts_with("__cxa_thread_atexit");
                }).empty();
    }

private:
    Elf64_Xword valueOf(Elf64_Sxword tag) const {
        const Elf64_Dyn* entry = entries_;
        while (entry->d_tag != DT_NULL && entry->d_tag != tag) ++entry;
        return entry->d_tag == DT_NULL ? 0 : entry->d_un.d_val;
    }

    template <typename Item>
    const Item* tableAt(Elf64_Sxword tag) const {
        return std::bit_cast<const Item*>(valueOf(tag));
    }

    // The string table follows the symbol table with every linker; a library without symbols has neither.
    template <typename Fits>
    std::string findSymbol(Fits fits) const {
        const auto* symbols = tableAt<Elf64_Sym>(DT_SYMTAB);
        const char* const names = tableAt<char>(DT_STRTAB);
        if (!symbols || !names) return {};
        const auto* const end = symbols + symbolCount();
        const auto* const found = std::find_if(symbols, end, [&](const Elf64_Sym& symbol) {
            return symbol.st_name != 0 && fits(symbol, names + symbol.st_name);
        });
        return found == end ? std::string() : names + found->st_name;
    }

    std::size_t symbolCount() const {
        if (const auto* const table = tableAt<Elf64_Word>(DT_HASH)) return table[1];
        const auto* const table = tableAt<Elf64_Word>(DT_GNU_HASH);
        return table ? countByGnuHash(table) : 0;
    }

    // The table holds the number of buckets, the first symbol in them, the size of a filter in words of 64
    // bits and a shift; then the filter, each bucket's first symbol, and a hash for each symbol, whose lowest
    // bit ends a bucket.
    static std::size_t countByGnuHash(const Elf64_Word* table) {
        constexpr std::size_t kHeader = 4;
        const Elf64_Word* const buckets = table + kHeader + std::size_t{2} * table[2];
        const Elf64_Word* const hashes = buckets + table[0];
        std::size_t last = 0;
        for (const Elf64_Word* bucket = buckets; bucket != hashes; ++bucket)
            last = std::max<std::size_t>(last, *bucket);
        if (last < table[1]) return table[1];
        while ((hashes[last - table[1]] & 1U) == 0) ++last;
        return last + 1;
    }

    const Elf64_Dyn* entries_;
};

}  // namespace

// Looks through the list of libraries, because asking for one by its path opens the file.
bool isLibraryMapped(const std::string& path) {
    const auto isIt = [](dl_phdr_info* library, std::size_t, void* wanted) {
        return *static_cast<const std::string*>(wanted) == library->dlpi_name ? 1 : 0;
    };
    return dl_iterate_phdr(isIt, const_cast<std::string*>(&path)) != 0;
}

std::string whyLibraryStays(const std::string& path) {
    const char* const kUnknown = "is still in use: another library needs it, or something has opened it too";
    void* const handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (!handle) return kUnknown;
    std::string reason = kUnknown;
    if (const link_map* const library = posix::linkMapOf(handle)) {
        const DynamicSection section(*library);
        const std::string unique = section.uniqueSymbol();
        if (section.mustStay())
            reason = "is marked as not to be unloaded (-z nodelete)";
        else if (!unique.empty())
            reason = "defines unique symbols, such as " + unique + " (-fno-gnu-unique avoids them)";
        else if (section.hasThreadLocalObjects())
            reason = "has thread-local objects, which threads that still run have yet to destroy";
    }
    dlclose(handle);
    return reason;
}

const void* addressIn(void* handle) { return static_cast<const link_map*>(handle)->l_ld; }

void* libraryContaining(const void* address) { return recordContaining(address); }

std::vector<void*> callingLibraries() {
    std::vector<void*> libraries;
    posix::walkFromHere([&](const posix::FrameAddress& frame) {
        void* const library = recordOf(frame);
        const bool isNew = std::find(libraries.begin(), libraries.end(), library) == libraries.end();
        if (library && isNew) libraries.push_back(library);
        return true;
    });
    return libraries;
}

std::vector<unsigned long> threadsIn(const void* handle) {
    if (isOnlyThread()) return {};
    std::vector<unsigned long> threads = threadIds(static_cast<unsigned long>(getpid()));
    const auto own = static_cast<unsigned long>(gettid());
    std::erase_if(threads, [&](unsigned long thread) {
        return thread == own || !isThreadIn(*static_cast<const link_map*>(handle), thread);
    });
    return threads;
}

}  // namespace os
