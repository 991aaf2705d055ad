#include <QvPlatform/diagnostics/CallStackViewer.h>
#include <QvPlatform/diagnostics/Log.h>

#include "base/Utf.h"
#include "diagnostics/StackText.h"
#include "diagnostics/log/LogQuietly.h"
#include "filesystem/WholeVariable.h"
#include "os/SystemPaths.h"
#include "os/Thread.h"

#include <algorithm>
#include <new>

namespace QvPlatform {
namespace {

std::string nativePath(const std::wstring& path) {
    std::string text = base::narrow(path);
    if (os::nativePathStyle() == os::PathStyle::windows) std::replace(text.begin(), text.end(), '/', '\\');
    return text;
}

// For diagnosing missing symbols.
void inform(const std::string& message) {
    Qv::detail::logQuietly([&] { Qv::LogTrace("%s", message.c_str()); });
}

}  // namespace

struct CallStackViewer::Record {
    unsigned long processId;
    void* processHandle;
    std::unique_ptr<os::StackWalker> walker;
    std::string output;

    bool walk(const os::StackThread& thread, const CONTEXT* context, const void* caller) {
        output.clear();
        try {
            if (!walker) makeWalker();
            const os::ErrorCode code = walker->start(thread, context, output);
            if (code == 0) return detail::appendFrames(output, *walker, context ? nullptr : caller);
            detail::appendError(output, "StackWalk64", code, 0);
        } catch (const std::bad_alloc&) {
            output = "Not enough memory.\n";
        }
        return false;
    }

    void makeWalker() {
        const std::string path = detail::symbolSearchPath(
            nativePath(os::currentDirectory()), nativePath(os::executableFile()), detail::readWholeVariable);
        walker = os::makeStackWalker(processId, processHandle, path, inform);
    }
};

CallStackViewer::CallStackViewer(unsigned long processId, void* processHandle)
    : record_(new Record{processId, processHandle, nullptr, {}}) {
    os::openStackSymbols();
}

CallStackViewer::~CallStackViewer() = default;

bool CallStackViewer::getCallstack(void* threadHandle, const CONTEXT* context) {
    return record_->walk({threadHandle, 0}, context, __builtin_return_address(0));
}

bool CallStackViewer::getCallstackOfThread(unsigned long threadId, const CONTEXT* context) {
    return record_->walk({nullptr, threadId}, context, __builtin_return_address(0));
}

std::string CallStackViewer::getOutput() const { return record_->output; }

std::vector<unsigned long> CallStackViewer::getThreadIds(unsigned long processId) {
    return os::threadIds(processId);
}

unsigned long CallStackViewer::getCurrentThreadId() { return os::currentThreadId(); }

}  // namespace QvPlatform
