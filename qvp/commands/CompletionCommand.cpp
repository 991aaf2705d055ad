#include <QvPlatform/filesystem/File.h>

#include "commands/Documents.h"
#include "report/Completion.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <set>

namespace qvp {
namespace {

using Kind = Completable::Kind;

// "WHEN:{auto,always,never}" has choices; "NAME|FILE" and the like say what they are.
Completable completableOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const bool namesFile = type.find("FILE") != std::string::npos || option.get_name() == "FILE";
    if (option.get_positional() && namesFile) return {Kind::plugin};
    const std::size_t open = type.find('{');
    if (open == std::string::npos) {
        if (type.find("NAME") != std::string::npos && option.nonpositional()) return {Kind::plugin};
        if (type.find("FILE") != std::string::npos) return {Kind::file};
        return {type.find("DIR") != std::string::npos ? Kind::directory : Kind::text};
    }
    Completable value{Kind::choice};
    const std::size_t end = type.find('}', open);
    for (std::size_t begin = open + 1; begin < end;) {
        const std::size_t comma = std::min(type.find(',', begin), end);
        value.choices.push_back(type.substr(begin, comma - begin));
        begin = comma + 1;
    }
    return value;
}

CommandWords wordsOf(const CLI::App& app, const std::string& name) {
    CommandWords words{name, app.get_description(), {}, {}};
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_positional()) {
            words.argument = completableOf(*option);
            continue;
        }
        CommandWords::Option described{{}, option->get_description(), {}};
        for (const std::string& letter : option->get_snames()) described.names.push_back("-" + letter);
        for (const std::string& longName : option->get_lnames()) described.names.push_back("--" + longName);
        if (option->get_items_expected_max() > 0) described.value = completableOf(*option);
        words.options.push_back(std::move(described));
    }
    return words;
}

std::string pluginNames(const Setting& setting) {
    std::set<std::string> names;
    for (const SearchDirectory& directory : setting.directories) {
        for (const std::string& path : pluginFilesIn(directory.path))
            names.insert(QvPlatform::File(path).getBaseName());
    }
    std::string text;
    for (const std::string& name : names) text += name + "\n";
    return text;
}

class CompletionCommand : public Command {
public:
    const char* name() const override { return "completion"; }
    const char* summary() const override { return "Prints a script that completes qvp in a shell"; }

    void addOptions(CLI::App& app) override {
        app_ = &app;
        app.add_option("SHELL", shell_, "The shell; names prints the plugins' names, for the scripts")
            ->required()
            ->check(CLI::IsMember({"bash", "zsh", "fish", "names"}));
    }

    Document run(const Setting& setting) override {
        if (shell_ == "names") return {{"ok", true}, {"shell", shell_}, {"text", pluginNames(setting)}};
        const CLI::App& program = *app_->get_parent();
        std::vector<CommandWords> words{wordsOf(program, "")};
        for (const CLI::App* command : program.get_subcommands({}))
            words.push_back(wordsOf(*command, command->get_name()));
        const auto write = shell_ == "bash"  ? bashCompletion
                           : shell_ == "zsh" ? zshCompletion
                                             : fishCompletion;
        return {{"ok", true}, {"shell", shell_}, {"text", write(words)}};
    }

    void print(const Document& document, Page& page) const override {
        page.verbatim(textOf(document, "text"));
    }

private:
    const CLI::App* app_ = nullptr;
    std::string shell_;
};

}  // namespace

std::unique_ptr<Command> makeCompletionCommand() { return std::make_unique<CompletionCommand>(); }

}  // namespace qvp
