#pragma once

#include <string>

/// The loader of shared libraries. Paths are UTF-8.
namespace os {

/// Opens the library at an absolute path and returns its handle. Its symbols are bound immediately and stay
/// local. Needed libraries are also searched for next to it and, on Windows, next to the program. On failure
/// returns null with the reason in `error`: the system's text, or the text of an exception from a static
/// initializer. After such an exception this process never opens the library again. If a static initializer
/// ends its thread, the unwinding continues to the caller and the library is refused, too.
void* openLibrary(const std::string& path, std::string& error);

/// True if the file has all parts that its headers list and, on Windows, no program has it open for writing.
/// False if it is no library of this system.
bool isCompleteLibrary(const std::wstring& path);

/// False on failure, with the system's text in `error`, which is otherwise unchanged. Does not throw.
bool closeLibrary(void* handle, std::string& error);

/// The address of a symbol that the library itself defines; null if it does not.
void* findSymbol(void* handle, const char* name);

/// The text of the calling thread's last system error, the loader's included; "" if there is none.
std::string lastErrorText();

/// Restores the calling thread's last system error in its destructor.
class LastErrorKeeper {
public:
    LastErrorKeeper() noexcept;
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;
    ~LastErrorKeeper();

private:
    unsigned long error_;
};

}  // namespace os
