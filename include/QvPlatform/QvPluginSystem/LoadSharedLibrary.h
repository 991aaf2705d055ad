#pragma once

#include <QvPlatform/core/Export.h>

#include <string>

/// Opening any shared library, for general use; plugins are loaded through `QvPluginManager`.
///
///     QvPluginSystem::LoadSharedLibrary library("filters/blur.so");
///     if (library.handle) {
///         void* blur = QvPluginSystem::getSymbolAddress(library.handle, "blur");
///         ...
///     }
namespace QvPluginSystem {

/// Owner of an open shared library; closes it when destroyed.
///
/// Trap: a copy holds the same handle without counting, so of two holders only one may be destroyed; set
/// `handle` to null in the other.
class QV_API LoadSharedLibrary {
public:
    /// Opens the library at `path`, UTF-8, found from the current directory when relative. On failure
    /// `handle` is null and a warning with the reason is logged. A needed library that lies beside this one
    /// is found, and on Windows one beside the program. On Linux symbols are bound at once and stay local.
    ///
    /// A library whose static initializers throw fails with the exception's text and is not opened again by
    /// this process; what that leaves behind on Linux is told at `QvPluginManager`.
    explicit LoadSharedLibrary(const std::string& path);
    LoadSharedLibrary(const LoadSharedLibrary& other);
    LoadSharedLibrary& operator=(const LoadSharedLibrary& other);
    ~LoadSharedLibrary();

    /// The platform's module handle, or null.
    void* handle = nullptr;
};

/// The text of the calling thread's last system error, on Linux the loader's own text when the loader
/// failed last; after a failed load its reason, whatever the log wrote since. Points to a buffer of 256
/// characters that the next call, or a failed `LoadSharedLibrary`, overwrites: one thread at a time.
QV_API const char* getLastError();

/// The address of a symbol that the library itself defines, not one that it links to; null when absent.
QV_API void* getSymbolAddress(void* handle, const char* name);

}  // namespace QvPluginSystem
