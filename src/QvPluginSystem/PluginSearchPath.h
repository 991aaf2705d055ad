#pragma once

#include <QvPlatform/core/QvArray.h>

#include "QvPluginSystem/PluginFile.h"

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace QvPluginSystem {

/// The directories that plugins are searched in: the default one and those that were added, by their texts
/// as they were given.
class PluginSearchPath {
public:
    PluginSearchPath();

    const Qv::QvArray<std::string>& effective() const { return effective_; }
    const Qv::QvArray<std::string>& added() const { return added_; }

    bool add(const std::string& directory);
    bool remove(const std::string& directory);
    /// Keeps only the default directory: "plugins" next to this library.
    void reset();

    struct Found {
        std::string path;
        PluginFile file;
    };

    /// The regular file that `rules::search` finds for a name; null if there is none.
    std::shared_ptr<const Found> find(const std::string& name);

    /// What `find` found in this request at the absolute path; null when it found nothing there.
    std::shared_ptr<const Found> recallPath(const std::string& path) const;

    /// Spans one request of a client. What was found, and which directories are not there, holds until the
    /// outermost one ends or the directories change; after that the disk is asked again.
    class Request {
    public:
        explicit Request(PluginSearchPath& searchPath) : searchPath_(searchPath) {
            ++searchPath_.requestDepth_;
        }
        Request(const Request&) = delete;
        Request& operator=(const Request&) = delete;
        ~Request() {
            if (--searchPath_.requestDepth_ == 0) searchPath_.forget();
        }

    private:
        PluginSearchPath& searchPath_;
    };

private:
    enum class Presence { unknown, there, missing };
    struct Place {
        std::wstring path;  // empty where the text is relative, so that its path changes with the process's
        Presence presence = Presence::unknown;
    };

    static Place placeOf(const std::string& directory);
    void addEffective(const std::string& directory);
    void forget();
    std::shared_ptr<const Found> search(const std::string& name);
    std::shared_ptr<const Found> searchIn(std::size_t place, const std::string& name);

    Qv::QvArray<std::string> effective_;
    std::vector<Place> places_;  // of the effective directories
    Qv::QvArray<std::string> added_;
    int requestDepth_ = 0;
    using FoundByText = std::unordered_map<std::string, std::shared_ptr<const Found>>;
    static std::shared_ptr<const Found> lookUp(const FoundByText& found, const std::string& text);
    FoundByText foundByName_;
    FoundByText foundByPath_;
};

}  // namespace QvPluginSystem
