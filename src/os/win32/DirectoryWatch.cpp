// Each directory is open and has one request for changes under way, whose buffer the system may write to
// until the request has ended. Between two requests the system collects the changes itself. When the thread
// that made a request ends, the request fails, and the directory is reported as unwatched.

#include "os/DirectoryWatch.h"

#include "os/win32/Windows.h"

#include <vector>

namespace os {
namespace {

using Kind = DirectoryChange::Kind;
using Visit = std::function<void(const DirectoryChange&)>;

constexpr DWORD kChanges =
    FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE;
constexpr std::size_t kBufferSize = 16'384;
constexpr DWORD kPatience = 1'000;  // milliseconds

class WatchedDirectory {
public:
    WatchedDirectory(std::size_t number, HANDLE directory)
        : number_(number), directory_(directory), ended_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
    WatchedDirectory(const WatchedDirectory&) = delete;
    WatchedDirectory& operator=(const WatchedDirectory&) = delete;
    ~WatchedDirectory() = default;

    std::size_t number() const { return number_; }

    bool request() {
        overlapped_ = {};
        overlapped_.hEvent = ended_.get();
        isRequested_ = directory_ && ended_ &&
                       ReadDirectoryChangesW(directory_.get(), buffer_, sizeof buffer_, FALSE, kChanges,
                                             nullptr, &overlapped_, nullptr);
        return isRequested_;
    }

    /// Returns false if the directory is no longer watched.
    bool take(const Visit& visit) {
        if (!isRequested_) return false;
        if (!HasOverlappedIoCompleted(&overlapped_)) return true;
        DWORD size = 0;
        if (!GetOverlappedResult(directory_.get(), &overlapped_, &size, FALSE)) return false;
        if (size == 0)
            visit({number_, Kind::unknown, {}});
        else
            takeEntries(visit);
        return request();
    }

    /// Returns false if the system does not end the request, so that this object must stay in memory.
    bool cancel() {
        if (!isRequested_) return true;
        CancelIoEx(directory_.get(), &overlapped_);
        return WaitForSingleObject(ended_.get(), kPatience) == WAIT_OBJECT_0;
    }

private:
    void takeEntries(const Visit& visit) const {
        for (std::size_t next = 0;;) {
            const auto* entry = reinterpret_cast<const FILE_NOTIFY_INFORMATION*>(buffer_ + next);
            const std::string name = base::narrow({entry->FileName, entry->FileNameLength / sizeof(wchar_t)});
            // It may be the short form of another name.
            if (name.find('~') != std::string::npos)
                visit({number_, Kind::unknown, {}});
            else
                visit({number_, Kind::entry, name});
            if (entry->NextEntryOffset == 0) return;
            next += entry->NextEntryOffset;
        }
    }

    std::size_t number_;
    win32::Handle directory_;
    win32::Handle ended_;
    OVERLAPPED overlapped_{};
    bool isRequested_ = false;
    alignas(DWORD) unsigned char buffer_[kBufferSize]{};
};

struct Cancel {
    void operator()(WatchedDirectory* directory) const {
        if (directory->cancel()) delete directory;
    }
};

}  // namespace

struct DirectoryWatch::State {
    std::vector<std::unique_ptr<WatchedDirectory, Cancel>> directories;
};

DirectoryWatch::DirectoryWatch() : state_(std::make_unique<State>()) {}

DirectoryWatch::~DirectoryWatch() = default;

// The directory is shared for deletion, so that it can be removed meanwhile.
bool DirectoryWatch::add(std::size_t directory, const std::wstring& path, std::string& error) {
    constexpr DWORD kAnySharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE opened =
        CreateFileW(win32::systemPath(path).c_str(), FILE_LIST_DIRECTORY, kAnySharing, nullptr, OPEN_EXISTING,
                    FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr);
    const DWORD openError = GetLastError();
    std::unique_ptr<WatchedDirectory, Cancel> watched(new WatchedDirectory(directory, opened));
    if (!watched->request()) {
        error = win32::errorText(opened == INVALID_HANDLE_VALUE ? openError : GetLastError());
        return false;
    }
    state_->directories.push_back(std::move(watched));
    return true;
}

void DirectoryWatch::remove(std::size_t directory) {
    std::erase_if(state_->directories, [=](const auto& watched) { return watched->number() == directory; });
}

void DirectoryWatch::take(const Visit& visit) {
    auto& directories = state_->directories;
    for (std::size_t i = 0; i < directories.size();) {
        const std::size_t number = directories[i]->number();
        if (directories[i]->take(visit)) {
            ++i;
            continue;
        }
        directories.erase(directories.begin() + static_cast<std::ptrdiff_t>(i));
        visit({number, Kind::unwatched, {}});
    }
}

}  // namespace os
