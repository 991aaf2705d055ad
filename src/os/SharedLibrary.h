#pragma once

#include <string>

/// The loader of shared libraries. Paths are UTF-8.
namespace os {

/// Opens the library at an absolute path, its symbols bound at once and kept to itself, and returns its
/// handle. Libraries that it needs are found beside it too, and on Windows beside the program. On failure
/// null, and the reason in `error`: the system's text, or what a static initializer threw, in which case
/// this process opens the library never again. When such an initializer ends its thread, that passes
/// through, and the library is refused likewise.
void* openLibrary(const std::string& path, std::string& error);

/// False on failure, and the system's text in `error`, which is untouched otherwise.
bool closeLibrary(void* handle, std::string& error);

/// The address of a symbol that the library itself defines; null when it defines none.
void* findSymbol(void* handle, const char* name);

/// The text of the calling thread's last system error, the loader's included; "" when there is none.
std::string lastErrorText();

/// Puts the calling thread's last system error back at its end.
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
