#include "diagnostics/LogSink.h"

#include "os/OutputStream.h"

#include <atomic>
#include <mutex>

namespace Qv::detail {
namespace {

// Never destroyed: a line may be logged by the last static destructor.
constinit std::atomic<std::FILE*> stream{nullptr};

std::recursive_mutex& streamLock() {
    static auto& lock = *new std::recursive_mutex;
    return lock;
}

// The old file goes when the new one is in its place, so that no line meanwhile finds none.
void replaceWith(std::FILE* next) {
    if (std::FILE* previous = stream.exchange(next)) std::fclose(previous);
}

}  // namespace

bool openLogSink(const std::string& path) {
    const std::lock_guard guard(streamLock());
    replaceWith(os::openForAppending(path));
    return isLogSinkOpen();
}

void closeLogSink() {
    const std::lock_guard guard(streamLock());
    replaceWith(nullptr);
}

bool isLogSinkOpen() { return stream.load() != nullptr; }

void writeToLogSink(std::string_view text) {
    if (!isLogSinkOpen()) return;
    const std::lock_guard guard(streamLock());
    std::FILE* open = stream.load();
    if (!open) return;
    std::fwrite(text.data(), 1, text.size(), open);
    std::fflush(open);
}

}  // namespace Qv::detail
