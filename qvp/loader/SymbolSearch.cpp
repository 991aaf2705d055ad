#include "loader/SymbolSearch.h"

#include "base/Demangle.h"
#include "binary/ElfReader.h"
#include "binary/PeReader.h"
#include "loader/LoaderRules.h"

#include <QvPlatform/filesystem/File.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace qvp {
namespace {

using Names = std::unordered_set<std::string>;

std::string readable(const std::string& name) {
    std::string plain = name.starts_with("_Z") ? base::demangled(name.c_str()) : std::string();
    return plain.empty() ? name : plain;
}

bool isUsable(const NeededLibrary& library) {
    return !library.path.empty() && library.problem == LibraryFile::Problem::none;
}

// Libraries of the system are consistent with each other.
bool isOwn(const NeededLibrary& library) {
    return isUsable(library) && (library.foundBy == "run path" || library.foundBy == "own folder" ||
                                 library.foundBy == "LD_LIBRARY_PATH");
}

// What the libraries that are opened together define.
class ElfScope {
public:
    void add(const std::string& path) {
        if (!seen_.insert(path).second) return;
        const FileContent content(path);
        if (content.problem() != FileContent::Problem::none) return;
        const ElfReader elf(content);
        if (!elf.damage().empty()) return;
        Names& versions = versions_[QvPlatform::File(path).getName()];
        for (const ElfReader::Version& version : elf.versions()) {
            if (version.library.empty()) versions.insert(version.name);
        }
        const auto symbols = elf.symbols();
        if (!symbols) return;
        for (const ElfReader::Symbol& symbol : *symbols) {
            if (!symbol.isDefined) continue;
            plain_.insert(symbol.name);
            // A library without versions defines each name in every version.
            exact_.insert(symbol.name + "@" + (versions.empty() ? "" : symbol.version));
        }
    }

    bool defines(const ElfReader::Symbol& symbol) const {
        if (symbol.version.empty()) return plain_.count(symbol.name) != 0;
        return exact_.count(symbol.name + "@" + symbol.version) != 0 || exact_.count(symbol.name + "@") != 0;
    }

    bool lacksVersion(const std::string& fileName, const std::string& version) const {
        const auto library = versions_.find(fileName);
        return library != versions_.end() && !library->second.empty() && library->second.count(version) == 0;
    }

private:
    Names seen_;
    Names plain_;
    Names exact_;
    std::unordered_map<std::string, Names> versions_;  // by file name
};

// The symbols that one file lacks.
class ElfGaps {
public:
    ElfGaps(const ElfScope& scope, const std::vector<NeededLibrary>& libraries)
        : scope_(scope), libraries_(libraries) {}

    void addOf(const std::string& path) {
        const FileContent content(path);
        const ElfReader elf(content);
        if (content.problem() != FileContent::Problem::none || !elf.damage().empty()) return;
        std::map<std::string, std::string> libraryOf;  // by version
        for (const ElfReader::Version& version : elf.versions()) {
            if (version.library.empty()) continue;
            libraryOf[version.name] = version.library;
            if (scope_.lacksVersion(fileNameOf(version.library), version.name))
                missing_.push_back({{}, version.name, path, version.library, true});
        }
        for (const ElfReader::Symbol& symbol : elf.symbols().value_or(std::vector<ElfReader::Symbol>())) {
            if (symbol.isDefined || symbol.isWeak || scope_.defines(symbol)) continue;
            const auto library = libraryOf.find(symbol.version);
            const bool isLinked = library != libraryOf.end();
            if (!isLinked) unknown_.emplace(symbol.name, missing_.size());
            missing_.push_back({readable(symbol.name), symbol.version, path,
                                isLinked ? library->second : std::string(), isLinked});
        }
    }

    // Another library that defines them, if there is one.
    std::vector<MissingSymbol> take(const std::vector<std::string>& others) {
        for (const std::string& other : others) {
            if (unknown_.empty()) break;
            const LibraryFile file = readLibraryFile(other, Exports::read);
            for (const std::string& name : file.exportedNames) {
                const auto [first, last] = unknown_.equal_range(name);
                for (auto at = first; at != last; ++at) missing_[at->second].library = other;
                unknown_.erase(first, last);
            }
        }
        return std::move(missing_);
    }

private:
    // A library is found under another name than it is needed by, if that is a link.
    std::string fileNameOf(const std::string& needed) const {
        const auto found = std::find_if(libraries_.begin(), libraries_.end(),
                                        [&](const NeededLibrary& each) { return each.name == needed; });
        return found == libraries_.end() ? needed : QvPlatform::File(found->path).getName();
    }

    const ElfScope& scope_;
    const std::vector<NeededLibrary>& libraries_;
    std::vector<MissingSymbol> missing_;
    std::unordered_multimap<std::string, std::size_t> unknown_;  // indices into `missing_`
};

std::vector<MissingSymbol> elfGaps(const LibraryFile& file, const std::vector<NeededLibrary>& libraries) {
    ElfScope scope;
    scope.add(file.path);
    for (const NeededLibrary& library : libraries) {
        if (isUsable(library)) scope.add(library.path);
    }
    for (const std::string& path : librariesOfHost()) scope.add(path);
    ElfGaps gaps(scope, libraries);
    gaps.addOf(file.path);
    for (const NeededLibrary& library : libraries) {
        if (isOwn(library)) gaps.addOf(library.path);
    }
    return gaps.take(librariesOfSystem());
}

void addPeGaps(const std::string& path, const std::vector<NeededLibrary>& libraries,
               std::vector<MissingSymbol>& missing) {
    const FileContent content(path);
    PeReader reader(content);
    if (content.problem() != FileContent::Problem::none || !reader.damage().empty()) return;
    const std::vector<std::string> imports = reader.imports().value_or(std::vector<std::string>());
    for (std::size_t i = 0; i < imports.size(); ++i) {
        const auto found = std::find_if(libraries.begin(), libraries.end(), [&](const NeededLibrary& each) {
            return comparedLibraryName(each.name) == comparedLibraryName(imports[i]);
        });
        if (found == libraries.end() || !isUsable(*found)) continue;
        const LibraryFile library = readLibraryFile(found->path, Exports::read);
        if (library.problem != LibraryFile::Problem::none || library.exportedNames.empty()) continue;
        const Names exported(library.exportedNames.begin(), library.exportedNames.end());
        for (const std::string& name : reader.namesFrom(i).value_or(std::vector<std::string>())) {
            if (exported.count(name) == 0) missing.push_back({readable(name), {}, path, found->path, true});
        }
    }
}

}  // namespace

std::vector<MissingSymbol> findMissingSymbols(const LibraryFile& file,
                                              const std::vector<NeededLibrary>& libraries) {
    if (file.kind == LibraryFormat::Kind::elf) return elfGaps(file, libraries);
    std::vector<MissingSymbol> missing;
    addPeGaps(file.path, libraries, missing);
    for (const NeededLibrary& library : libraries) {
        if (isUsable(library) && library.foundBy == "own folder") addPeGaps(library.path, libraries, missing);
    }
    return missing;
}

}  // namespace qvp
