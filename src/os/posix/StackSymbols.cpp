#include "os/posix/StackSymbols.h"

#include "os/SystemPaths.h"
#include "os/posix/Gate.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <bit>
#include <cerrno>

namespace os::posix {
namespace {

constexpr std::size_t kMostKnown = 65536;

// Without the version, as in "name@@VERSION".
std::string demangled(const std::string& symbol) {
    const std::string name = symbol.substr(0, symbol.find('@'));
    int status = 0;
    const std::unique_ptr<char, Free> text(abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status));
    return text ? text.get() : name;
}

std::string hexadecimal(std::uintptr_t number) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%lx", number);
    return text;
}

// The loader's counts of what it ever loaded and unloaded.
void readLoaderCounts(unsigned long long& added, unsigned long long& removed) {
    unsigned long long* counts[] = {&added, &removed};
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* argument) {
            auto** const result = static_cast<unsigned long long**>(argument);
            *result[0] = info->dlpi_adds;
            *result[1] = info->dlpi_subs;
            return 1;
        },
        counts);
}

}  // namespace

StackSymbols::StackSymbols(pid_t process, void (*inform)(const std::string&))
    : isOwnProcess_(process == getpid()), inform_(inform), debugInfo_(DebugInfo::open(process)) {}

int StackSymbols::refresh() {
    bool forget = false;
    if (isOwnProcess_) {
        unsigned long long added = 0;
        unsigned long long removed = 0;
        readLoaderCounts(added, removed);
        if (added == added_ && removed == removed_ && known_.size() < kMostKnown) return 0;
        // What was read of a file that is gone must not serve for another one in its place.
        forget = removed != removed_;
        added_ = added;
        removed_ = removed;
    }
    known_.clear();
    symbolKinds_.clear();
    return debugInfo_ ? debugInfo_->refresh(forget) : 0;
}

const AddressDescription& StackSymbols::describe(const StackFrame& frame) {
    const std::uintptr_t key = frame.programCounter << 1 | (frame.isInterrupted ? 1 : 0);
    const auto found = known_.find(key);
    if (found != known_.end()) return found->second;
    return known_.emplace(key, lookUp(frame)).first->second;
}

AddressDescription StackSymbols::lookUp(const StackFrame& frame) {
    const std::uintptr_t address = frame.programCounter - (frame.isInterrupted ? 0 : 1);
    AddressDescription known;
    DebugInfo::Source source;
    std::string path;
    std::uintptr_t base = 0;
    if (debugInfo_) {
        source = debugInfo_->find(address);
        path = debugInfo_->moduleAt(address, base);
    }
    Dl_info info{};
    if (isOwnProcess_ && dladdr(std::bit_cast<void*>(address), &info) != 0) {
        base = std::bit_cast<std::uintptr_t>(info.dli_fbase);
        if (path.empty()) path = info.dli_fname ? info.dli_fname : "";
        if (source.symbol.empty() && info.dli_sname) source.symbol = info.dli_sname;
    }
    known.function = source.symbol.empty() ? std::string() : demangled(source.symbol);
    if (known.function.empty()) known.symbolError = ENOENT;
    known.file = source.file;
    known.line = static_cast<unsigned long>(source.line);
    if (known.file.empty()) known.lineError = ENOENT;
    if (path.empty())
        known.moduleError = ENOENT;
    else
        nameModule(path, frame.programCounter - base, address, known);
    return known;
}

void StackSymbols::nameModule(const std::string& path, std::uintptr_t offset, std::uintptr_t address,
                              AddressDescription& known) {
    const auto [kind, isNew] = symbolKinds_.try_emplace(path);
    if (isNew) {
        const bool hasLines = debugInfo_ && debugInfo_->hasLines(address);
        kind->second = hasLines ? "DWARF" : known.function.empty() ? "-nosymbols-" : "-exported-";
        inform_("Module: '" + path + "', symbols: " + kind->second + "\n");
    }
    known.symbolKind = kind->second;
    known.module = path.substr(path.rfind('/') + 1) + "+" + hexadecimal(offset);
}

}  // namespace os::posix
