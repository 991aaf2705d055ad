#include "diagnostics/log/LogSink.h"

#include "os/Cancellation.h"
#include "os/OutputStream.h"
#include "os/ProcessLock.h"

#include <atomic>
#include <mutex>

namespace Qv::detail {
namespace {

constexpr os::ProcessLock kSinkLock{os::LockRank::logSink};

// Atomic, for code that only tests whether a file is open; changed only under the lock.
constinit std::atomic<os::AppendedFile> sink{os::kNoFile};

// True if the file ends with part of a text. Guarded by the lock.
constinit bool endsTorn = false;

// No cancellation occurs between writing a text and recording how much of it was written.
struct Turn {
    const os::CancellationShield shield;
    const std::lock_guard<const os::ProcessLock> guard{kSinkLock};
};

// Text that cannot be written is dropped; it is not added to later lines.
void write(std::string_view text) {
    const std::size_t written = os::append(sink, text);
    if (written != 0) endsTorn = written != text.size();
}

// The old file is closed after the new one is installed, so that there is always a file to write to.
void replaceWith(os::AppendedFile next, std::string_view header) {
    const Turn turn;
    const os::AppendedFile previous = sink.exchange(next);
    if (previous != os::kNoFile) os::closeAppended(previous);
    endsTorn = false;
    if (next != os::kNoFile) write(header);
}

}  // namespace

bool openLogSink(const std::string& path, std::string_view header) {
    const os::CancellationShield shield;
    const os::AppendedFile file = os::openForAppending(path);
    replaceWith(file, header);
    return file != os::kNoFile;
}

void closeLogSink() { replaceWith(os::kNoFile, {}); }

bool isLogSinkOpen() { return sink.load(std::memory_order_relaxed) != os::kNoFile; }

void writeToLogSink(std::string_view text) {
    if (!isLogSinkOpen() || text.empty()) return;
    const Turn turn;
    if (!isLogSinkOpen()) return;
    if (endsTorn) write("\n");
    if (!endsTorn) write(text);
}

}  // namespace Qv::detail
