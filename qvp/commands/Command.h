#pragma once

#include "inspect/Catalogue.h"
#include "report/Page.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace qvp {

/// What one command found out. It is all that there is to tell: `--json` prints it, and the text is made of
/// it.
using Document = nlohmann::ordered_json;

/// What all commands share.
struct Setting {
    std::vector<SearchDirectory> directories;
    ChildLimits limits;
    Progress onProgress;
};

/// A subcommand. Each has a file of its own and one line in `commands()`.
class Command {
public:
    Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;
    virtual ~Command() = default;

    virtual const char* name() const = 0;
    virtual const char* summary() const = 0;
    /// Its own options and arguments.
    virtual void addOptions(CLI::App&) {}
    /// The document, whose "ok" states whether no problem was found.
    virtual Document run(const Setting& setting) = 0;
    /// What the process ends with, from the document that `run` returned.
    virtual int exitStatus(const Document& document) const { return document["ok"].get<bool>() ? 0 : 1; }
    /// For people, from the document alone.
    virtual void print(const Document& document, Page& page) const = 0;
};

/// All of them, in the order of the help text.
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

}  // namespace qvp
