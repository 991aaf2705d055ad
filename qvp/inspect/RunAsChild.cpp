#include "child/Arguments.h"
#include "child/Child.h"
#include "inspect/InspectChild.h"
#include "inspect/Inspection.h"

namespace qvp {

std::optional<int> runAsChild(int argc, char** argv) {
    std::vector<std::string> arguments = programArguments(argc, argv);
    if (arguments.size() < 2 || (arguments[0] != kInspectArgument && arguments[0] != kTryArgument))
        return std::nullopt;
    prepareAsChild();
    if (arguments[0] == kInspectArgument) inspectInChild(arguments[1]);
    arguments.erase(arguments.begin());
    tryInChild(arguments);
}

}  // namespace qvp
