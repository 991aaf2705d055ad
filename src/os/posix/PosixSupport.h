#pragma once

#include "base/Utf.h"
#include "os/Cancellation.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <pthread.h>
#include <spawn.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What several files need from the system: error texts, path forms, repeated calls, owners of system
/// resources. All of it is inline; only the path forms need base/Utf.cpp.
namespace os::posix {

/// English in every locale: translating it would read the environment.
inline std::string errorText(int code) {
    const char* const text = strerrordesc_np(code);
    return text ? text : "Unknown error " + std::to_string(code);
}

/// A path's bytes for a system call. Returns "", which names no file, if the path contains a zero byte: the
/// system would ignore the rest and use another file.
inline std::string systemPath(const std::wstring& path) {
    std::string bytes = base::narrow(path);
    if (bytes.find('\0') != std::string::npos) bytes.clear();
    return bytes;
}

/// The same, but names a link itself instead of its target.
inline std::string withoutFinalSlash(const std::wstring& path) {
    std::string bytes = systemPath(path);
    while (bytes.size() > 1 && bytes.back() == '/') bytes.pop_back();
    return bytes;
}

/// Repeats a call while it returns -1 and `errno` is EINTR, which means that a signal interrupted it.
template <typename Call>
auto retryOnInterrupt(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) result = call();
    return result;
}

/// The same for a call that returns its error number.
template <typename Call>
int retryOnReturnedInterrupt(Call call) {
    int error = call();
    while (error == EINTR) error = call();
    return error;
}

/// Writes until everything is written or a call fails. Returns the number of bytes written.
/// Async-signal-safe.
inline std::size_t writeAll(int file, std::string_view bytes) {
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t more =
            retryOnInterrupt([&] { return write(file, bytes.data() + written, bytes.size() - written); });
        if (more <= 0) break;
        written += static_cast<std::size_t>(more);
    }
    return written;
}

/// The target of a symbolic link as text; nothing if it cannot be read. The buffer has room for the longest
/// path and the mark that the system appends to links in /proc.
inline std::optional<std::string> linkText(int directory, const char* name) {
    std::vector<char> buffer(PATH_MAX + 64);
    const ssize_t length = readlinkat(directory, name, buffer.data(), buffer.size());
    if (length < 0) return std::nullopt;
    return std::string(buffer.data(), static_cast<std::size_t>(length));
}

struct Free {
    void operator()(char* text) const { std::free(text); }
};
/// Text that the C library has allocated.
using MallocText = std::unique_ptr<char, Free>;

/// An open file, closed by the destructor.
class Descriptor {
public:
    explicit Descriptor(int number = -1) noexcept : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() {
        if (number_ < 0) return;
        const CancellationShield shield;  // a cancellation in a destructor would end the process
        ::close(number_);
    }

    explicit operator bool() const noexcept { return number_ >= 0; }
    int get() const noexcept { return number_; }
    int release() noexcept { return std::exchange(number_, -1); }
    bool close() noexcept { return ::close(release()) == 0; }

private:
    int number_;
};

/// The same open file, with a number above those of the standard streams. A file that stays open must not
/// take the number of a stream that the program was started without: what is written there would reach the
/// file.
inline Descriptor apartFromStreams(Descriptor file) {
    if (!file || file.get() > STDERR_FILENO) return file;
    return Descriptor(fcntl(file.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

struct CloseDirectory {
    void operator()(DIR* directory) const {
        const CancellationShield shield;
        closedir(directory);
    }
};
using DirectoryStream = std::unique_ptr<DIR, CloseDirectory>;

/// True if the loader has opened a library by this name or path.
inline bool isLoaded(const char* name) {
    void* const handle = dlopen(name, RTLD_LAZY | RTLD_NOLOAD);
    return handle && dlclose(handle) == 0;
}

/// The loader's record of an open library; null if it has none.
inline link_map* linkMapOf(void* handle) {
    link_map* map = nullptr;
    return dlinfo(handle, RTLD_DI_LINKMAP, static_cast<void*>(&map)) == 0 ? map : nullptr;
}

enum class Sharing { process, processes };

/// Creates a recursive, robust mutex in this memory. Returns false if the system refuses.
inline bool makeRobustMutex(void* memory, Sharing sharing) noexcept {
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0) return false;
    const int shared = sharing == Sharing::processes ? PTHREAD_PROCESS_SHARED : PTHREAD_PROCESS_PRIVATE;
    const bool isMade = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE) == 0 &&
                        pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST) == 0 &&
                        pthread_mutexattr_setpshared(&attributes, shared) == 0 &&
                        pthread_mutex_init(new (memory) pthread_mutex_t, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return isMade;
}

/// Texts in the form that a new program expects; valid as long as `texts` is.
inline std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// How a child process starts: no signal is blocked or ignored in it, and `actions` are applied to its
/// descriptors in order.
class SpawnSettings {
public:
    /// `flags`: further flags of posix_spawnattr_setflags; the two for signals are always set.
    explicit SpawnSettings(int flags = 0) {
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        posix_spawnattr_setflags(&attributes_,
                                 static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | flags));
        posix_spawn_file_actions_init(&actions_);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;
    ~SpawnSettings() {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&actions_);
    }

    posix_spawn_file_actions_t* actions() noexcept { return &actions_; }

    /// Starts the program in this file, without a search, and stores its number in `pid`. Returns 0 or an
    /// error number.
    int spawn(const char* file, std::vector<std::string> arguments, char* const* environment,
              pid_t& pid) const {
        return posix_spawn(&pid, file, &actions_, &attributes_, pointersTo(arguments).data(), environment);
    }

private:
    posix_spawnattr_t attributes_{};
    posix_spawn_file_actions_t actions_{};
};

}  // namespace os::posix
