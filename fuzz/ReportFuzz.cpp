// A plugin can write anything into the memory through which its process reports: the report is read all the
// same, and each file gets its steps.

#include "inspect/InspectReport.h"
#include "inspect/Steps.h"

#include <QvPlatform/filesystem/File.h>

#include "Require.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

// Stand in for the tool's and the library's: only what the child does uses them, and `takeStaticSteps`.
QvPlatform::File::File(const std::string&) { fuzz::require(false); }
QvPlatform::File::~File() = default;
std::string QvPlatform::File::getName() const { return {}; }
namespace qvp {
void writeReportLine(const std::string&) {}
LibraryFile readLibraryFile(const std::string&, Exports) { return {}; }
bool isForThisSystem(const LibraryFile&) { return false; }
std::vector<NeededLibrary> findNeededLibraries(const LibraryFile&) { return {}; }
std::string regularFileIdentity(const std::string&) { return {}; }
const char* systemOf(LibraryFormat::Kind) { return ""; }
}  // namespace qvp

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qvp::ChildEnd end;
    end.kind = static_cast<qvp::ChildEnd::Kind>(size % 3);
    for (const auto& lines : qvp::linesByFile(std::string(data, data + size))) {
        qvp::Inspection inspection;
        qvp::takeReport(lines, end, {}, inspection);
        fuzz::require(inspection.steps.size() == 8);
        if (!inspection.descriptor) continue;
        const QvPluginSystem::QvPluginInfo again = qvp::infoFrom(qvp::toJson(*inspection.descriptor));
        fuzz::require(again.name == inspection.descriptor->name);
    }
    return 0;
}
