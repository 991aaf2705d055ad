#include "os/NativeLibrary.h"

#include "binary/PeReader.h"

#include <utility>

namespace qvp {

const LibraryFormat::Kind kNativeFormat = LibraryFormat::Kind::pe;

void readNativeLibrary(const FileContent& content, Exports exports, LibraryFile& file) {
    const auto setDamaged = [&file](const std::string& text) {
        file.problem = LibraryFile::Problem::damaged;
        file.errorText = text;
    };
    const PeReader library(content);
    if (const std::string damage = library.damage(); !damage.empty()) return setDamaged(damage);
    file.buildId = library.buildId();
    auto needed = library.imports();
    auto later = library.delayedImports();
    if (!needed || !later) return setDamaged("its import table is damaged");
    file.needed = std::move(*needed);
    file.neededLater = std::move(*later);
    if (exports == Exports::skip) return;
    auto names = library.exportedNames();
    if (!names) return setDamaged("its export table is damaged");
    file.exportedNames = std::move(*names);
}

}  // namespace qvp
