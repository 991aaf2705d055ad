// A copy's name is ".NAME.live-PROCESS-RANDOM": hidden, not a plugin file by its extension, and free. The
// process's number tells which copies were left behind; the random part keeps two processes apart whose
// numbers are equal because each is counted in a container.

#include "QvPluginSystem/LiveLibraries.h"

#include <QvPlatform/core/StringConversions.h>
#include <QvPlatform/diagnostics/Log.h>

#include "QvPluginSystem/LibraryUsers.h"
#include "os/Cancellation.h"
#include "os/FileOperations.h"
#include "os/Filesystem.h"
#include "os/MappedLibraries.h"
#include "os/ProcessInfo.h"
#include "os/RandomText.h"
#include "os/SharedLibrary.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <set>
#include <utility>

namespace QvPluginSystem {
namespace {

constexpr std::string_view kMark = ".live-";
constexpr std::size_t kRandomLength = 6;

std::wstring wide(const std::string& path) { return QvPlatform::StringConversions::toWide(path); }

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/') + 1); }

std::optional<unsigned int> makerOf(std::string_view name) {
    const auto mark = name.rfind(kMark);
    if (!name.starts_with('.') || mark == std::string_view::npos) return std::nullopt;
    const std::string_view rest = name.substr(mark + kMark.size());
    unsigned int maker = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), maker);
    const std::string_view random(end, static_cast<std::size_t>(rest.data() + rest.size() - end));
    const bool isOne = error == std::errc() && random.size() == kRandomLength + 1 && random.front() == '-';
    return isOne ? std::optional(maker) : std::nullopt;
}

// Those of this process that are still wanted, and whether one that is not could not be removed.
std::set<std::string_view>& wantedCopies() {
    static auto& copies = *new std::set<std::string_view>;  // never destroyed: the manager is static too
    return copies;
}
constinit bool isAnyLeftBehind = false;

// Copies with this process's number are its own, or of an earlier process with the same number.
void removeAbandonedCopies(const std::string& folder) {
    std::vector<std::string> abandoned;
    const auto visit = [&](const os::DirectoryEntry& entry) {
        const auto maker = entry.isDirectory ? std::nullopt : makerOf(entry.name);
        if (!maker) return;
        std::string path = folder + std::string(entry.name);
        const bool isUsed = *maker == os::processId()
                                ? wantedCopies().count(path) != 0 || os::isLibraryMapped(path)
                                : os::isProcessRunning(*maker);
        if (!isUsed) abandoned.push_back(std::move(path));
    };
    os::visitDirectory(wide(folder), visit);
    for (const std::string& path : abandoned) os::removeFile(wide(path));
}

}  // namespace

bool isLibraryCopyName(std::string_view fileName) { return makerOf(fileName).has_value(); }

// Different libraries usually differ near their beginning, so the first piece is small.
bool haveSameContent(const std::string& one, const std::string& other) {
    constexpr std::size_t kFirstPiece = std::size_t{1} << 14U;
    constexpr std::size_t kLargestPiece = std::size_t{1} << 20U;
    const std::wstring paths[] = {wide(one), wide(other)};
    const auto stamp = os::fileStamp(paths[0]);
    const auto otherStamp = os::fileStamp(paths[1]);
    if (!stamp || !otherStamp || stamp->size != otherStamp->size) return false;
    std::string pieces[2];
    std::uint64_t offset = 0;
    for (std::size_t wanted = kFirstPiece;; wanted = std::min(2 * wanted, kLargestPiece)) {
        for (std::string& piece : pieces) piece.resize(wanted);
        const auto size = os::readPart(paths[0], offset, pieces[0]);
        if (!size || os::readPart(paths[1], offset, pieces[1]) != size) return false;
        if (std::memcmp(pieces[0].data(), pieces[1].data(), *size) != 0) return false;
        if (*size < wanted) return true;
        offset += *size;
    }
}

LibraryCopy::LibraryCopy(std::string path, std::string original)
    : path_(std::move(path)), original_(std::move(original)), maker_(os::processId()) {
    wantedCopies().insert(path_);
}

std::shared_ptr<LibraryCopy> LibraryCopy::make(const std::string& source, const std::string& original,
                                               std::string& error) {
    const std::string folder = folderOf(original);
    std::string path = folder + '.' + original.substr(folder.size());
    path.append(kMark)
        .append(std::to_string(os::processId()))
        .append("-")
        .append(os::randomText(kRandomLength));
    // First the owner, so that nothing is left behind if memory runs out.
    auto copy = std::make_shared<LibraryCopy>(std::move(path), original);
    if (os::copyToHiddenFile(wide(source), wide(copy->path_))) return copy;
    error = "the file cannot be copied within its folder, as live mode requires: " + os::lastErrorText();
    return nullptr;
}

LibraryCopy::~LibraryCopy() {
    const os::CancellationShield shield;
    const os::LastErrorKeeper lastError;
    wantedCopies().erase(path_);
    if (maker_ != os::processId()) return;
    try {
        const bool isGone = isMapped() || os::removeFile(wide(path_));
        isAnyLeftBehind = isAnyLeftBehind || !isGone;
    } catch (const std::bad_alloc&) {
        isAnyLeftBehind = true;
    }
}

std::string LibraryCopy::inWordsOfOriginal(std::string message) const {
    for (auto at = message.find(path_); at != std::string::npos; at = message.find(path_, at))
        message.replace(at, path_.size(), original_);
    return message;
}

std::shared_ptr<LibraryCopy> LiveLibraries::copyToOpen(const std::string& path, std::string& error) {
    const auto staged = staged_.find(path);
    return staged == staged_.end() ? copy(path, path, error) : staged->second;
}

std::shared_ptr<LibraryCopy> LiveLibraries::copy(const std::string& source, const std::string& original,
                                                 std::string& error) {
    if (std::exchange(isAnyLeftBehind, false)) cleanedFolders_.clear();
    const std::string folder = folderOf(original);
    if (cleanedFolders_.insert(folder).second) removeAbandonedCopies(folder);
    return LibraryCopy::make(source, original, error);
}

void LiveLibraries::adopt(const std::string& path) {
    std::string ignored;
    if (auto adopted = copy(path, path, ignored)) adopted_[path] = std::move(adopted);
}

std::shared_ptr<LibraryCopy> LiveLibraries::adopted(const std::string& path) const {
    const auto found = adopted_.find(path);
    return found == adopted_.end() ? nullptr : found->second;
}

bool LiveLibraries::close(const OpenLibrary& library, std::string& error) noexcept {
    // If memory runs out before the question is answered, the library may be used.
    const auto inMemory = [](const auto& work) {
        try {
            return work();
        } catch (const std::bad_alloc&) {
            return true;
        }
    };
    if (inMemory([&] { return isUsed(library, error); })) return false;
    const void* const address = os::addressIn(library.handle);
    const bool isClosed = os::closeLibrary(library.handle, error);
    inMemory([&] { return isStillMapped(library, address); });
    return isClosed;
}

bool LiveLibraries::isUsed(const OpenLibrary& library, std::string& error) {
    const std::string users = usersOf(library.handle, pool_, listeners_);
    if (users.empty()) return false;
    error = users;
    note(library, users);
    return true;
}

// Asking for an address takes much less time than asking for a path. Another library may be there by now.
bool LiveLibraries::isStillMapped(const OpenLibrary& library, const void* address) {
    const bool isMapped = os::libraryContaining(address) && os::isLibraryMapped(library.path());
    if (library.copy) library.copy->mayBeMapped = isMapped;
    if (isMapped) note(library, "it " + os::whyLibraryStays(library.path()));
    return isMapped;
}

void LiveLibraries::note(const OpenLibrary& library, const std::string& reason) {
    const std::string text = "the library stays in memory: " + reason;
    Qv::LogWarn("QvPluginManager - Closing %s: %s\n", library.original.c_str(), text.c_str());
    notes_ += (notes_.empty() ? "" : "; ") + text;
}

}  // namespace QvPluginSystem
