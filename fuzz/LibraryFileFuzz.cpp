// Both readers take any bytes; what they return is at most a few times as long.

#include "binary/LibraryFile.h"

#include <QvPlatform/filesystem/File.h>

#include "Require.h"

#include <string>
#include <vector>

// Stand in for the library's: only `readLibraryFile` uses them, which is not called here.
QvPlatform::File::File(const std::string&) { fuzz::require(false); }
QvPlatform::File::~File() = default;
std::string QvPlatform::File::toUniversalPath() const { return {}; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const qvp::FileContent content = qvp::FileContent::ofBytes(std::string(data, data + size));
    const qvp::LibraryFile file = qvp::readLibraryContent(content, qvp::Exports::read);
    fuzz::require(file.size == size);
    fuzz::require(!file.description.empty());
    fuzz::require((file.problem == qvp::LibraryFile::Problem::none) == file.errorText.empty());
    for (const auto* names : {&file.needed, &file.neededLater, &file.exportedNames}) {
        std::size_t length = 0;
        for (const std::string& name : *names) length += name.size();
        fuzz::require(length <= 4 * size);
        fuzz::require(names->size() <= size);
    }
    return 0;
}
