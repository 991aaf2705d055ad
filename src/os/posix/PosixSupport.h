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

/// What is needed of the system in more than one place: error texts, path forms, repeated calls, owners of
/// what the system hands out. All of it is inline; only the path forms need base/Utf.cpp.
namespace os::posix {

/// English in every locale: translating it would read the environment.
inline std::string errorText(int code) {
    const char* const text = strerrordesc_np(code);
    return text ? text : "Unknown error " + std::to_string(code);
}

/// A path's bytes for a system call. "", which names nothing, if the path holds a zero byte: the system would
/// read only what precedes it and work on another file.
inline std::string systemPath(const std::wstring& path) {
    std::string bytes = base::narrow(path);
    if (bytes.find('\0') != std::string::npos) bytes.clear();
    return bytes;
}

/// The same, naming a link itself instead of what it leads to.
inline std::string withoutFinalSlash(const std::wstring& path) {
    std::string bytes = systemPath(path);
    while (bytes.size() > 1 && bytes.back() == '/') bytes.pop_back();
    return bytes;
}

/// Makes a call again as long as it returns -1 and `errno` is EINTR: a signal has interrupted it.
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

/// Writes until everything is written or a call fails, and returns the number of bytes written.
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

/// A link's text; nothing if it cannot be read. There is room for the longest path and a mark that the system
/// adds to those of /proc.
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

/// An open file, closed at the end.
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
        const CancellationShield shield;  // which would end the process inside a destructor
        ::close(number_);
    }

    explicit operator bool() const noexcept { return number_ >= 0; }
    int get() const noexcept { return number_; }
    int release() noexcept { return std::exchange(number_, -1); }
    bool close() noexcept { return ::close(release()) == 0; }

private:
    int number_;
};

struct CloseDirectory {
    void operator()(DIR* directory) const {
        const CancellationShield shield;
        closedir(directory);
    }
};
using DirectoryStream = std::unique_ptr<DIR, CloseDirectory>;

/// Whether the loader has a library open under this name or path.
inline bool isLoaded(const char* name) {
    void* const handle = dlopen(name, RTLD_LAZY | RTLD_NOLOAD);
    return handle && dlclose(handle) == 0;
}

/// The loader's record of an open library; null if it has none.
inline link_map* linkMapOf(void* handle) {
    link_map* map = nullptr;
    return dlinfo(handle, RTLD_DI_LINKMAP, static_cast<void*>(&map)) == 0 ? map : nullptr;
}

enum class Sharing { Process, Processes };

/// Creates a re-entrant mutex in this memory, which notices its owner's death. False if the system refuses.
inline bool makeRobustMutex(void* memory, Sharing sharing) noexcept {
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0) return false;
    const int shared = sharing == Sharing::Processes ? PTHREAD_PROCESS_SHARED : PTHREAD_PROCESS_PRIVATE;
    const bool isMade = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE) == 0 &&
                        pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST) == 0 &&
                        pthread_mutexattr_setpshared(&attributes, shared) == 0 &&
                        pthread_mutex_init(new (memory) pthread_mutex_t, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return isMade;
}

/// Texts in the form that a new program takes; valid as long as the texts are.
inline std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// How a child process starts: no signal is blocked or ignored in it, and `actions` are done to its
/// descriptors in their order.
class SpawnSettings {
public:
    /// `flags`: those of posix_spawnattr_setflags besides the two for signals.
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

    /// Starts the program of this file, which is not searched for, and stores its number in `pid`. 0, or the
    /// number of an error.
    int spawn(const char* file, std::vector<std::string> arguments, char* const* environment,
              pid_t& pid) const {
        return posix_spawn(&pid, file, &actions_, &attributes_, pointersTo(arguments).data(), environment);
    }

private:
    posix_spawnattr_t attributes_{};
    posix_spawn_file_actions_t actions_{};
};

}  // namespace os::posix
