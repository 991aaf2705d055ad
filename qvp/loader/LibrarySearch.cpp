#include "loader/LibrarySearch.h"

#include "loader/LoaderRules.h"

#include <QvPlatform/filesystem/File.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <system_error>
#include <unordered_set>
#include <utility>

namespace qvp {

std::string ownFolder(const DependencyChain& chain) {
    const DependencyChain* first = &chain;
    while (first->neededBy) first = first->neededBy.get();
    std::string folder = QvPlatform::File(first->file.path).getFolderPath();
    if (folder.size() > 1) folder.pop_back();
    return folder;
}

namespace {

namespace fs = std::filesystem;

// What there is at a path whose file cannot be opened because it does not exist: a link, or nothing.
std::string danglingLinkText(const std::string& path) {
    std::error_code error;
    const fs::path native = std::u8string(path.begin(), path.end());
    if (!fs::is_symlink(fs::symlink_status(native, error))) return {};
    const std::u8string target = fs::read_symlink(native, error).generic_u8string();
    return "it is a link to " + std::string(target.begin(), target.end()) + ", which does not exist";
}

std::string reasonToPassOver(const LibraryFile& file) {
    if (file.problem == LibraryFile::Problem::missing) return danglingLinkText(file.path);
    if (!file.errorText.empty()) return file.errorText;
    return "it is for another system (" + file.description + ")";
}

std::vector<std::string> pathsOf(const DependencyChain& last) {
    std::vector<std::string> paths;
    for (const DependencyChain* link = &last; link; link = link->neededBy.get())
        paths.push_back(link->file.path);
    std::reverse(paths.begin(), paths.end());
    return paths;
}

}  // namespace

std::optional<LibraryFile> takeIfLibrary(const std::string& path, const std::string& foundBy,
                                         NeededLibrary& library) {
    using Problem = LibraryFile::Problem;
    LibraryFile file = readLibraryFile(path, Exports::skip);
    const bool isForOther = file.problem == Problem::none && !isForThisSystem(file);
    if (isForOther || file.problem == Problem::missing || file.problem == Problem::wrongArchitecture) {
        std::string reason = reasonToPassOver(file);
        if (!reason.empty()) library.passedOver.push_back({file.path, std::move(reason)});
        return std::nullopt;
    }
    library.path = file.path;
    library.foundBy = foundBy;
    library.problem = file.problem;
    library.problemText = file.errorText;
    return file;
}

std::vector<NeededLibrary> findNeededLibraries(const LibraryFile& file) {
    std::vector<NeededLibrary> libraries;
    std::unordered_set<std::string> known;
    std::deque<std::shared_ptr<const DependencyChain>> waiting{
        std::make_shared<DependencyChain>(DependencyChain{file, nullptr})};
    const auto take = [&](const std::shared_ptr<const DependencyChain>& chain, const std::string& name,
                          bool isLater) {
        if (!known.insert(comparedLibraryName(name)).second) return;
        NeededLibrary library;
        library.name = name;
        library.neededBy = chain->file.path;
        library.chain = pathsOf(*chain);
        library.isNeededLater = isLater;
        auto found = findAsLoader(*chain, library);
        if (found && !isLater && library.problem == LibraryFile::Problem::none)
            waiting.push_back(std::make_shared<DependencyChain>(DependencyChain{std::move(*found), chain}));
        libraries.push_back(std::move(library));
    };
    for (; !waiting.empty(); waiting.pop_front()) {
        const auto chain = waiting.front();
        for (const std::string& name : chain->file.needed) take(chain, name, false);
        for (const std::string& name : chain->file.neededLater) take(chain, name, true);
    }
    return libraries;
}

}  // namespace qvp
