#include "diagnostics/StackText.h"

#include <algorithm>
#include <charconv>
#include <vector>

namespace QvPlatform::detail {
namespace {

constexpr std::size_t kSystemBuffer = 32767;
constexpr std::uint16_t kMostRepetitions = 1000;

void appendPiece(std::string& path, const std::string& piece) {
    if (!piece.empty() && piece.size() < kSystemBuffer) path += piece + ";";
}

void appendNumber(std::string& text, std::uint64_t number, int base = 10) {
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, number, base).ptr;
    text.append(digits, end);
}

// The same on both platforms, unlike what "%p" prints.
void appendAddress(std::string& text, std::uintptr_t address) {
    text += "0x";
    appendNumber(text, address, 16);
}

void appendModule(std::string& text, std::uintptr_t address, const os::AddressDescription& known) {
    if (known.module.empty()) {
        text += "(module-name not available)";
        return;
    }
    text += known.module + '+';
    appendAddress(text, address - known.moduleStart);
}

void appendFrame(std::string& text, std::uintptr_t address, const os::AddressDescription& known) {
    if (known.symbolError != 0) appendError(text, "SymGetSymFromAddr64", known.symbolError, address);
    if (known.lineError != 0) appendError(text, "SymGetLineFromAddr64", known.lineError, address);
    if (known.moduleError != 0) appendError(text, "SymGetModuleInfo64", known.moduleError, address);
    if (known.file.empty()) {
        appendAddress(text, address);
        text += " (";
        appendModule(text, address, known);
        text += "): (filename not available): ";
    } else {
        text += known.file;
        text += " (";
        appendNumber(text, known.line);
        text += "): ";
    }
    text += known.function.empty() ? "(function-name not available)" : known.function;
    text += '\n';
}

/// The frames of a walk and its result.
struct Walk {
    std::vector<os::StackFrame> frames;
    std::string_view failure;  ///< the call that failed
    os::ErrorCode code = 0;
    std::uintptr_t address = 0;
};

Walk walkFrames(os::StackWalker& walker) {
    Walk walk;
    for (std::uint16_t repetitions = 0;;) {
        os::StackFrame frame;
        const os::ErrorCode code = walker.next(frame);
        walk.address = frame.programCounter;
        if (code != 0) {
            walk.failure = "StackWalk64";
            walk.code = code;
            return walk;
        }
        if (frame.programCounter == 0) return walk;
        if (frame.programCounter != frame.returnAddress) {
            repetitions = 0;
        } else if (repetitions > kMostRepetitions) {
            walk.failure = "StackWalk64-Endless-Callstack!";
            return walk;
        } else {
            ++repetitions;
        }
        walk.frames.push_back(frame);
    }
}

}  // namespace

std::string symbolSearchPath(const std::string& currentDirectory, const std::string& executable,
                             std::optional<std::string> (*variable)(const std::string& name)) {
    std::string path = ".;";
    appendPiece(path, currentDirectory);
    const auto separator = executable.find_last_of("/\\:");
    if (separator != std::string::npos) appendPiece(path, executable.substr(0, separator));
    appendPiece(path, variable("_NT_SYMBOL_PATH").value_or(""));
    appendPiece(path, variable("_NT_ALTERNATE_SYMBOL_PATH").value_or(""));
    const std::string system = variable("SYSTEMROOT").value_or("");
    appendPiece(path, system);
    if (!system.empty() && system.size() < kSystemBuffer) path += system + "\\system32;";
    return path;
}

void appendError(std::string& text, std::string_view call, os::ErrorCode code, std::uintptr_t address) {
    text += "ERROR: ";
    text += call;
    text += ", GetLastError: ";
    text += std::to_string(static_cast<std::int32_t>(code));
    text += " (Address: ";
    appendAddress(text, address);
    text += ")\n";
}

bool appendFrames(std::string& text, os::StackWalker& walker, const void* caller) {
    const Walk walk = walkFrames(walker);
    const auto returnsToCaller = [caller](const os::StackFrame& frame) {
        return frame.returnAddress == reinterpret_cast<std::uintptr_t>(caller);
    };
    auto frame = walk.frames.begin();
    if (caller) {
        const auto last = std::find_if(walk.frames.begin(), walk.frames.end(), returnsToCaller);
        if (last != walk.frames.end()) frame = last + 1;
    }
    for (; frame != walk.frames.end(); ++frame)
        appendFrame(text, frame->programCounter, walker.describe(*frame));
    if (!walk.failure.empty()) appendError(text, walk.failure, walk.code, walk.address);
    return walk.failure.empty();
}

}  // namespace QvPlatform::detail
