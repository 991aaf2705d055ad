#include "commands/Syntax.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace qvp {
namespace {

using Kind = Completable::Kind;

void apply(const Syntax::Value& rules, CLI::Option& option) {
    if (rules.type) option.type_name(rules.type);
    option.required(rules.isRequired);
    if (!rules.choices.empty()) option.check(CLI::IsMember(rules.choices));
    if (rules.problem) option.check(rules.problem);
}

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

}  // namespace

void Syntax::add(const std::string& name, std::string& value, const std::string& description,
                 const Value& rules) {
    apply(rules, *app_->add_option(name, value, description));
}

void Syntax::add(const std::string& name, std::vector<std::string>& values, const std::string& description,
                 const Value& rules) {
    apply(rules, *app_->add_option(name, values, description));
}

void Syntax::addNumber(const std::string& name, unsigned& value, unsigned most,
                       const std::string& description) {
    app_->add_option(name, value, description)->type_name("N")->check(CLI::Range(1U, most));
}

void Syntax::addFlag(const std::string& name, bool& value, const std::string& description) {
    app_->add_flag(name, value, description);
}

void Syntax::setFooter(const std::string& text) { app_->footer(text); }

std::vector<CommandWords> Syntax::wordsOfProgram() const {
    const CLI::App& program = app_->get_parent() ? *app_->get_parent() : *app_;
    std::vector<CommandWords> words{wordsOf(program, "")};
    for (const CLI::App* command : program.get_subcommands({}))
        words.push_back(wordsOf(*command, command->get_name()));
    return words;
}

}  // namespace qvp
