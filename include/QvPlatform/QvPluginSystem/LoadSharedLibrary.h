#pragma once

#include <QvPlatform/core/Export.h>

#include <string>

/// Opens any shared library, for general use; to load plugins, use `QvPluginManager`.
///
///     QvPluginSystem::LoadSharedLibrary library("filters/blur.so");
///     if (library.handle) {
///         void* blur = QvPluginSystem::getSymbolAddress(library.handle, "blur");
///         ...
///     }
namespace QvPluginSystem {

/// Owns an open shared library; the destructor closes it.
///
/// Trap: a copy holds the same handle without reference counting, so only one of them may close it. Set
/// `handle` to null in all others before they are destroyed.
class QV_API LoadSharedLibrary {
public:
    /// Opens the library at `path`, UTF-8, relative to the current directory. On failure `handle` is null and
    /// a warning with the reason is logged. A needed library is also searched for next to this one and, on
    /// Windows, next to the program. On Linux all symbols are bound immediately and stay local.
    ///
    /// If a static initializer of the library throws, opening fails with the exception's text, and this
    /// process does not open the library again. For the effects on Linux see `QvPluginManager`.
    explicit LoadSharedLibrary(const std::string& path);
    LoadSharedLibrary(const LoadSharedLibrary& other);
    LoadSharedLibrary& operator=(const LoadSharedLibrary& other);
    ~LoadSharedLibrary();

    /// The platform's module handle, or null.
    void* handle = nullptr;
};

/// The text of the calling thread's last system error; on Linux the loader's own text if the loader failed
/// last. After a failed load it is the reason, even if logging has changed the error since. Points to a
/// buffer of 256 characters, which the next call or a failed `LoadSharedLibrary` overwrites: one thread at a
/// time.
QV_API const char* getLastError();

/// The address of a symbol that the library itself defines, not one from a library that it links to; null if
/// absent.
QV_API void* getSymbolAddress(void* handle, const char* name);

}  // namespace QvPluginSystem
