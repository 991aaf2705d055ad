#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace os {

/// A change of a watched directory.
struct DirectoryChange {
    enum class Kind {
        entry,      ///< of the entry `name`
        unknown,    ///< of any entries; the caller must look
        unwatched,  ///< as `unknown`; also, the directory was removed or moved and is no longer watched
    };

    std::size_t directory = 0;  ///< its number
    Kind kind = Kind::entry;
    std::string name;  ///< UTF-8; "" unless `kind` is `entry`
};

/// Watches the entries of directories without a thread and without blocking. Subdirectories are not watched.
/// The first change after `add` is reported, and at least one after the last change of an entry; a file that
/// is written is reported when the writer closes it, on Windows also before. Changes that other computers
/// make on a network drive may be missing. A forked child has no watched directories. One thread at a time.
class DirectoryWatch {
public:
    DirectoryWatch();
    DirectoryWatch(const DirectoryWatch&) = delete;
    DirectoryWatch& operator=(const DirectoryWatch&) = delete;
    ~DirectoryWatch();

    /// Watches the directory at `path`, wide text with "/" separators, under a number that is not used yet;
    /// links are followed. Two numbers may mean the same directory. On failure returns false and stores the
    /// reason in `error`: there is no such directory, or the system's limit of watches is reached.
    bool add(std::size_t directory, const std::wstring& path, std::string& error);

    /// Stops watching; does nothing if the number is not used.
    void remove(std::size_t directory);

    /// Calls `visit` for changes since the last call, with one system call or none if there are none. Some
    /// changes may be left for the next call. `visit` must not call this object.
    void take(const std::function<void(const DirectoryChange&)>& visit);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace os
