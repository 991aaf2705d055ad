#include "inspect/ChildSupport.h"
#include "inspect/InspectReport.h"
#include "inspect/Inspection.h"
#include "inspect/Steps.h"

#include <memory>
#include <utility>

namespace qvp {
namespace {

void findSymbolsThatLoaderMissed(Inspection& inspection) {
    const Step* const failed = inspection.firstStep(StepState::failed);
    if (failed && failed->name == StepName::opened && failed->misdeed == Misdeed::none)
        inspection.missingSymbols = findMissingSymbols(inspection.file, inspection.libraries);
}

}  // namespace

// Only inspections whose child is running are kept in memory.
void inspect(const std::vector<std::string>& files, Depth depth, const ChildLimits& limits,
             const std::function<void(std::size_t, Inspection)>& onInspected) {
    std::size_t next = 0;
    const auto deliver = [&](std::size_t index, Inspection& inspection) {
        if (depth == Depth::descriptor) dropDetails(inspection);
        onInspected(index, std::move(inspection));
    };
    const auto nextTask = [&]() -> std::optional<ChildTask> {
        while (next < files.size()) {
            const std::size_t index = next++;
            auto inspection = std::make_shared<Inspection>();
            if (!takeStaticSteps(files[index], depth, *inspection)) {
                deliver(index, *inspection);
                continue;
            }
            const auto onEnd = [&, index, inspection](const ChildEnd& end) {
                takeReport(end, limits, *inspection);
                if (depth == Depth::everything) findSymbolsThatLoaderMissed(*inspection);
                deliver(index, *inspection);
            };
            return ChildTask{{kInspectArgument, inspection->file.path}, onEnd};
        }
        return std::nullopt;
    };
    runChildren(nextTask, limits);
}

}  // namespace qvp
