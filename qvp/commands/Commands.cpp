#include "commands/Command.h"

namespace qvp {

std::vector<std::unique_ptr<Command>> commands() {
    std::vector<std::unique_ptr<Command>> all;
    all.push_back(makeListCommand());
    all.push_back(makeInfoCommand());
    all.push_back(makeWhyCommand());
    all.push_back(makeCheckCommand());
    all.push_back(makeOrderCommand());
    all.push_back(makeGraphCommand());
    all.push_back(makeProbeCommand());
    all.push_back(makeNewCommand());
    all.push_back(makeEnvCommand());
    all.push_back(makeCompletionCommand());
    return all;
}

}  // namespace qvp
