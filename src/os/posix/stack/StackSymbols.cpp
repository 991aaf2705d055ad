// For each walk `prepare` runs first and may call the debugging library, on a stack of its own; `describe`
// never calls it. An address that `prepare` has not seen is described from the loaded files alone. If the
// system gives no thread for that stack, this applies to all new addresses.
//
// Names of this process are remembered between walks until the debugging library opens, a file appears that
// was not seen before, or in place of another, or there are `kMostKnown`. Names of another process are looked
// up again for each walk. `mustReport_` and `mustForget_` carry what was noticed over to the next call of the
// library. No lock is held between calls; `DebugInfo` locks the library for each of its calls.

#include "os/posix/stack/StackSymbols.h"

#include "base/Demangle.h"
#include "os/posix/stack/OwnStack.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>

namespace os::posix {
namespace {

constexpr std::size_t kMostKnown = 65536;

// Drops the version, as in "name@@VERSION". Only names with "_Z" are demangled, because others may look like
// types: "f" is float.
std::string plainName(const std::string& symbol) {
    std::string name = symbol.substr(0, symbol.find('@'));
    if (!name.starts_with("_Z")) return name;
    const std::string plain = base::demangled(name.c_str());
    return plain.empty() ? name : plain;
}

std::uintptr_t keyOf(std::uintptr_t programCounter, bool isInterrupted) {
    return programCounter << 1U | (isInterrupted ? 1U : 0U);
}

}  // namespace

StackSymbols::StackSymbols(pid_t process, void (*inform)(const std::string&))
    : process_(process), isOwnProcess_(process == getpid()), inform_(inform) {}

DebugInfo* StackSymbols::debugInfo() {
    if (debugInfo_) return debugInfo_.get();
    debugInfo_ = DebugInfo::open(process_);
    if (debugInfo_) {
        known_.clear();
        symbolKinds_.clear();
    }
    return debugInfo_.get();
}

void StackSymbols::prepare(const std::vector<FrameAddress>& frames) {
    debugInfo();
    if (noteFiles(frames) || !isOwnProcess_ || known_.size() >= kMostKnown) {
        known_.clear();
        symbolKinds_.clear();
        mustReport_ = true;
    }
    const auto isKnown = [this](const FrameAddress& frame) {
        return known_.contains(keyOf(frame.programCounter, frame.isInterrupted));
    };
    if (std::all_of(frames.begin(), frames.end(), isKnown)) return;
    std::exception_ptr failure;
    runOnOwnStack([&] {
        try {
            lookUpAll(frames);
        } catch (...) {
            failure = std::current_exception();
        }
    });
    if (failure) std::rethrow_exception(failure);
}

// True if a file is new or has replaced another. Another process's files are reported before each walk.
bool StackSymbols::noteFiles(const std::vector<FrameAddress>& frames) {
    bool isNew = false;
    LoadedFile file(0);
    for (const FrameAddress& frame : isOwnProcess_ ? frames : std::vector<FrameAddress>()) {
        if (file.contains(frame.programCounter)) continue;
        file = LoadedFile(frame.programCounter);
        if (file && noteFile(file)) isNew = true;
    }
    return isNew;
}

bool StackSymbols::noteFile(const LoadedFile& file) {
    const std::uint64_t identity = file.identity();
    const auto known = files_.find(file.begin());
    if (known != files_.end() && known->second.identity == identity) return false;
    // The debugging library does not notice changed content at the same path and address.
    if (known != files_.end()) mustForget_ = true;
    std::erase_if(files_, [&](const auto& other) {
        return other.first < file.end() && file.begin() < other.second.end;
    });
    files_[file.begin()] = {file.end(), identity};
    return true;
}

void StackSymbols::lookUpAll(const std::vector<FrameAddress>& frames) {
    if (debugInfo_ && isOwnProcess_ && mustReport_) {
        debugInfo_->refresh(mustForget_);
        mustReport_ = false;
        mustForget_ = false;
    }
    for (const FrameAddress& frame : frames) {
        const auto [place, isNew] = known_.try_emplace(keyOf(frame.programCounter, frame.isInterrupted));
        if (isNew) place->second = lookUp(frame, debugInfo_.get());
    }
}

const AddressDescription& StackSymbols::describe(const StackFrame& frame) {
    const auto [place, isNew] = known_.try_emplace(keyOf(frame.programCounter, frame.isInterrupted));
    Known& known = place->second;
    if (isNew) known = lookUp({frame.programCounter, frame.isInterrupted}, nullptr);
    if (!known.path.empty() && informed_.insert(known.path).second)
        inform_("Module: '" + known.path + "', symbols: " + known.description.symbolKind + "\n");
    return known.description;
}

StackSymbols::Known StackSymbols::lookUp(const FrameAddress& frame, DebugInfo* debugInfo) {
    const std::uintptr_t address = frame.programCounter - (frame.isInterrupted ? 0 : 1);
    Known result;
    AddressDescription& known = result.description;
    DebugInfo::Source source;
    std::uintptr_t base = 0;
    if (debugInfo) {
        source = debugInfo->find(address);
        result.path = debugInfo->moduleAt(address, base);
    }
    if (const LoadedFile file(isOwnProcess_ ? address : 0); file) {
        base = file.begin();
        if (result.path.empty()) result.path = file.path();
        if (source.symbol.empty()) source.symbol = file.symbolAt(address);
    }
    known.function = source.symbol.empty() ? std::string() : plainName(source.symbol);
    if (known.function.empty()) known.symbolError = ENOENT;
    known.file = source.file;
    known.line = static_cast<unsigned long>(source.line);
    if (known.file.empty()) known.lineError = ENOENT;
    if (result.path.empty()) {
        known.moduleError = ENOENT;
        return result;
    }
    known.module = result.path.substr(result.path.rfind('/') + 1);
    known.moduleStart = base;
    known.symbolKind = symbolKind(result.path, known.function, address, debugInfo);
    return result;
}

std::string StackSymbols::symbolKind(const std::string& path, const std::string& function,
                                     std::uintptr_t address, DebugInfo* debugInfo) {
    const auto [kind, isNew] = symbolKinds_.try_emplace(path);
    if (isNew) {
        const bool hasLines = debugInfo && debugInfo->hasLines(address);
        kind->second = hasLines ? "DWARF" : function.empty() ? "-nosymbols-" : "-exported-";
    }
    return kind->second;
}

}  // namespace os::posix
