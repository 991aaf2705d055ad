#include "diagnostics/LogSink.h"

#include "os/OutputStream.h"
#include "os/SpinThenLock.h"

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

// Whether the file ends with a part of a text. Guarded by the lock.
bool endsTorn = false;

// The old file goes when the new one is in its place, so that no line meanwhile finds none.
void replaceWith(std::FILE* next) {
    if (std::FILE* previous = stream.exchange(next)) std::fclose(previous);
    endsTorn = false;
}

// Without a buffer: what cannot be written now is lost as a whole, and not added to later lines.
void write(std::FILE* open, std::string_view text) {
    const std::size_t written = std::fwrite(text.data(), 1, text.size(), open);
    if (written != 0) endsTorn = written != text.size();
}

}  // namespace

bool openLogSink(const std::string& path, std::string_view header) {
    const std::lock_guard guard(streamLock());
    replaceWith(os::openForAppending(path));
    writeToLogSink(header);
    return isLogSinkOpen();
}

void closeLogSink() {
    const std::lock_guard guard(streamLock());
    replaceWith(nullptr);
}

bool isLogSinkOpen() { return stream.load() != nullptr; }

void writeToLogSink(std::string_view text) {
    if (!isLogSinkOpen()) return;
    std::unique_lock guard(streamLock(), std::defer_lock);
    os::spinThenLock([&] { return guard.try_lock(); }, [&] { guard.lock(); });
    std::FILE* open = stream.load();
    if (!open || text.empty()) return;
    if (endsTorn) write(open, "\n");
    if (!endsTorn) write(open, text);
}

}  // namespace Qv::detail
