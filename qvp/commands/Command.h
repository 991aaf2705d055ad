#pragma once

#include "commands/Syntax.h"
#include "inspect/Catalogue.h"
#include "report/Page.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qvp {

/// The complete result of a command. `--json` prints it, and the text output is generated from it.
using Document = nlohmann::ordered_json;

/// The options that all commands share.
struct Setting {
    std::vector<SearchDirectory> directories;
    ChildLimits limits;
    Progress onProgress;
};

/// A subcommand. Each one has its own source file and one line in `commands()`.
class Command {
public:
    Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;
    virtual ~Command() = default;

    virtual const char* name() const = 0;
    virtual const char* summary() const = 0;
    /// Adds the options and arguments of this command.
    virtual void addOptions(Syntax&) {}
    /// Executes the command. In the result, "ok" is true if no problem was found.
    virtual Document run(const Setting& setting) = 0;
    /// The exit status of the process for a result of `run`.
    virtual int exitStatus(const Document& document) const { return document["ok"].get<bool>() ? 0 : 1; }
    /// Prints `document`, a result of `run`, as text.
    virtual void print(const Document& document, Page& page) const = 0;
};

/// All commands, in the order of the help text.
std::vector<std::unique_ptr<Command>> commands();

std::unique_ptr<Command> makeListCommand();
std::unique_ptr<Command> makeInfoCommand();
std::unique_ptr<Command> makeWhyCommand();
std::unique_ptr<Command> makeCheckCommand();
std::unique_ptr<Command> makeOrderCommand();
std::unique_ptr<Command> makeGraphCommand();
std::unique_ptr<Command> makeProbeCommand();
std::unique_ptr<Command> makeNewCommand();
std::unique_ptr<Command> makeEnvCommand();
std::unique_ptr<Command> makeCompletionCommand();

}  // namespace qvp
