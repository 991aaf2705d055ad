#include "inspect/InspectChild.h"
#include "inspect/InspectReport.h"
#include "inspect/Inspection.h"
#include "inspect/Steps.h"

#include <memory>
#include <utility>

namespace qvp {

// Only those that a child looks at are kept meanwhile.
void inspect(const std::vector<std::string>& files, Depth depth, const ChildLimits& limits,
             const std::function<void(std::size_t, Inspection)>& onInspected) {
    std::size_t next = 0;
    const auto deliver = [&](std::size_t place, Inspection& inspection) {
        if (depth == Depth::descriptor) dropDetails(inspection);
        onInspected(place, std::move(inspection));
    };
    const auto nextTask = [&]() -> std::optional<ChildTask> {
        while (next < files.size()) {
            const std::size_t place = next++;
            auto inspection = std::make_shared<Inspection>();
            if (!takeStaticSteps(files[place], depth, *inspection)) {
                deliver(place, *inspection);
                continue;
            }
            const auto onEnd = [&, place, inspection](const ChildEnd& end) {
                takeReport(end, limits, *inspection);
                deliver(place, *inspection);
            };
            return ChildTask{{kInspectArgument, inspection->file.path}, onEnd};
        }
        return std::nullopt;
    };
    runChildren(nextTask, limits);
}

}  // namespace qvp
