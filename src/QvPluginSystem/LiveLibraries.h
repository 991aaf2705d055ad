#pragma once

#include "QvPluginSystem/ListenerList.h"
#include "QvPluginSystem/ObjectPool.h"
#include "os/MappedLibraries.h"

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace QvPluginSystem {

/// A hidden copy of a plugin file, in the file's folder. The destructor removes it, unless its library is
/// still in memory or another process, of which this one is a fork, has made it.
class LibraryCopy {
public:
    /// Copies `source`. Null on failure, with the reason in `error`.
    static std::shared_ptr<LibraryCopy> make(const std::string& source, const std::string& original,
                                             std::string& error);

    /// Takes charge of the copy that is, or will be, at `path`.
    LibraryCopy(std::string path, std::string original);
    LibraryCopy(const LibraryCopy&) = delete;
    LibraryCopy& operator=(const LibraryCopy&) = delete;
    ~LibraryCopy();

    const std::string& path() const { return path_; }
    /// The plugin file that it stands for.
    const std::string& original() const { return original_; }
    /// A message of the system, with the original's path in place of the copy's.
    std::string inWordsOfOriginal(std::string message) const;

    /// Whether its library is in memory, even if it was closed.
    bool isMapped() const { return mayBeMapped && os::isLibraryMapped(path_); }

    int openings = 0;          ///< by the tables of libraries
    void* handle = nullptr;    ///< of its library, while there are openings
    bool mayBeMapped = false;  ///< it was opened, and not seen to be gone since

private:
    std::string path_;
    std::string original_;
    unsigned int maker_;
};

/// Whether a file name is that of a copy, of any process.
bool isLibraryCopyName(std::string_view fileName);

/// True if both files can be read and contain the same bytes.
bool haveSameContent(const std::string& one, const std::string& other);

/// Live mode of the table of libraries: plugin files are opened from copies, and a library is closed only if
/// nothing that the manager knows belongs to it and no other thread is in one of its functions.
class LiveLibraries {
public:
    LiveLibraries(const ObjectPool& pool, const ListenerList& listeners)
        : pool_(pool), listeners_(listeners) {}

    /// A new copy of `source`, which stands for a plugin file. Null on failure, with the reason in `error`.
    /// The first copy in a folder removes those that were left behind there.
    std::shared_ptr<LibraryCopy> copy(const std::string& source, const std::string& original,
                                      std::string& error);

    /// The copy from which a plugin file is to be opened: the one that was staged, else a new one.
    std::shared_ptr<LibraryCopy> copyToOpen(const std::string& path, std::string& error);

    /// Keeps a copy of a file that was opened before live mode, or before its copy was known, for a way back.
    void adopt(const std::string& path);
    /// Null if there is none.
    std::shared_ptr<LibraryCopy> adopted(const std::string& path) const;

    void stage(const std::shared_ptr<LibraryCopy>& copy) { staged_[copy->original()] = copy; }
    void clearStage() { staged_.clear(); }

    struct OpenLibrary {
        void* handle;
        const std::string& original;  ///< the plugin file
        LibraryCopy* copy;            ///< from which it was opened; null if from the plugin file

        const std::string& path() const { return copy ? copy->path() : original; }
    };

    /// Closes a library of which no other opening is known. If something belongs to it, it is left open.
    /// False on failure. If it stays in memory, a note says why.
    bool close(const OpenLibrary& library, std::string& error) noexcept;

    /// Why libraries that were closed since the last call stay in memory; "" if none does.
    std::string takeNotes() { return std::exchange(notes_, {}); }

private:
    bool isUsed(const OpenLibrary& library, std::string& error);
    bool isStillMapped(const OpenLibrary& library, const void* address);
    void note(const OpenLibrary& library, const std::string& reason);

    const ObjectPool& pool_;
    const ListenerList& listeners_;
    std::unordered_map<std::string, std::shared_ptr<LibraryCopy>> staged_;
    std::unordered_map<std::string, std::shared_ptr<LibraryCopy>> adopted_;
    std::unordered_set<std::string> cleanedFolders_;
    std::string notes_;
};

}  // namespace QvPluginSystem
