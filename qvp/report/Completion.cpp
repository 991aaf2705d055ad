// Names of plugins come from `qvp completion names`, with the --dir options that were typed so far.

#include "report/Completion.h"

namespace qvp {
namespace {

using Kind = Completable::Kind;
using Option = CommandWords::Option;

std::string joined(const std::vector<std::string>& texts, const char* separator) {
    std::string text;
    for (const std::string& one : texts) text += (text.empty() ? "" : separator) + one;
    return text;
}

std::string withEscaped(const std::string& text, const std::string& special) {
    std::string result;
    for (const char c : text) {
        if (special.find(c) != std::string::npos) result += '\\';
        result += c;
    }
    return result;
}

// The shells' own quotes: a quote within ends the text, stands escaped, and begins it again.
std::string asWord(const std::string& text) {
    std::string result;
    for (const char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return "'" + result + "'";
}

std::vector<std::string> namesOf(const std::vector<CommandWords>& commands) {
    std::vector<std::string> names;
    for (const CommandWords& command : commands) {
        if (!command.name.empty()) names.push_back(command.name);
    }
    return names;
}

// ---- bash

std::string bashWords(const std::string& words) { return "_qvp_words " + asWord(words); }

std::string bashCall(const Completable& value) {
    switch (value.kind) {
        case Kind::choice:
            return bashWords(joined(value.choices, " "));
        case Kind::directory:
            return "_qvp_files -d";
        case Kind::file:
            return "_qvp_files -f";
        case Kind::plugin:
            return "_qvp_plugins";
        default:
            return ":";
    }
}

std::string bashValueCases(const CommandWords& command) {
    std::string text;
    for (const Option& option : command.options) {
        if (option.value.kind == Kind::nothing) continue;
        std::vector<std::string> patterns;
        for (const std::string& name : option.names)
            patterns.push_back((command.name.empty() ? "*" : command.name) + ":" + name);
        text += "        " + joined(patterns, "|") + ") " + bashCall(option.value) + "; return ;;\n";
    }
    return text;
}

std::string optionNames(const CommandWords& command) {
    std::string text;
    for (const Option& option : command.options) text += joined(option.names, " ") + " ";
    return text;
}

constexpr const char* kBashHead = R"~(# Completes qvp in bash; made by "qvp completion bash".
_qvp_words() { mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -W "$1" -- "$current"); }
_qvp_files() {
    compopt -o filenames 2>/dev/null || :
    mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen "$@" -- "$current")
}
_qvp_plugins() {
    _qvp_words "$("${COMP_WORDS[0]}" "${directories[@]}" completion names 2>/dev/null)"
    _qvp_files -d
    _qvp_files -f -X '!*.qvp'
}
_qvp() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} command= i
    local -a directories=()
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            --dir) directories+=(--dir "${COMP_WORDS[i+1]}"); ((++i)) ;;
)~";

}  // namespace

std::string bashCompletion(const std::vector<CommandWords>& commands) {
    std::string text = kBashHead;
    const CommandWords& common = commands.front();
    for (const Option& option : common.options) {
        if (option.value.kind != Kind::nothing && option.names.back() != "--dir")
            text += "            " + joined(option.names, "|") + ") ((++i)) ;;\n";
    }
    text += "            " + joined(namesOf(commands), "|") +
            ") [[ $command ]] || command=${COMP_WORDS[i]} ;;\n        esac\n    done\n"
            "    case $command:$previous in\n";
    for (const CommandWords& command : commands) text += bashValueCases(command);
    text += "    esac\n    case $command:$current in\n        :*) " +
            bashWords(joined(namesOf(commands), " ") + " " + optionNames(common)) + " ;;\n";
    for (const CommandWords& command : commands) {
        if (command.name.empty()) continue;
        text += "        " + command.name + ":-*) " + bashWords(optionNames(command) + optionNames(common)) +
                " ;;\n        " + command.name + ":*) " + bashCall(command.argument) + " ;;\n";
    }
    return text + "    esac\n}\ncomplete -F _qvp qvp\n";
}

namespace {

// ---- zsh

std::string zshAction(const Completable& value) {
    switch (value.kind) {
        case Kind::choice:
            return "(" + joined(value.choices, " ") + ")";
        case Kind::directory:
            return "_files -/";
        case Kind::file:
            return "_files";
        case Kind::plugin:
            return "_qvp_plugins";
        default:
            return " ";
    }
}

std::string zshSpecs(const CommandWords& command) {
    std::string text;
    for (const Option& option : command.options) {
        for (const std::string& name : option.names) {
            std::string spec = name == "--dir" ? "*" : "";
            spec.append(name).append("[").append(withEscaped(option.description, "[]:\\")).append("]");
            if (option.value.kind != Kind::nothing) spec.append(":value:").append(zshAction(option.value));
            text.append(" ").append(asWord(spec));
        }
    }
    return text;
}

}  // namespace

std::string zshCompletion(const std::vector<CommandWords>& commands) {
    std::string text =
        "#compdef qvp\n# Completes qvp in zsh; made by \"qvp completion zsh\".\n"
        "_qvp_directories() {\n"
        "    local dir\n"
        "    for dir in ${(s.:.)opt_args[--dir]}; do directories+=(--dir ${(Q)dir}); done\n"
        "}\n"
        "_qvp_plugins() {\n"
        "    local -a names\n"
        "    _qvp_directories\n"
        "    names=(${(f)\"$(${service:-qvp} $directories completion names 2>/dev/null)\"})\n"
        "    compadd -a names\n    _files -g '*.qvp'\n}\n"
        "_qvp() {\n    local context state line\n    typeset -A opt_args\n"
        "    local -a common commands directories\n"
        "    common=(" +
        zshSpecs(commands.front()) + ")\n    commands=(";
    for (const CommandWords& command : commands) {
        if (!command.name.empty())
            text += " " + asWord(command.name + ":" + withEscaped(command.description, ":\\"));
    }
    text +=
        ")\n    _arguments -C $common '(-): :->command' '(-)*:: :->argument'\n"
        "    [[ $state != argument ]] || _qvp_directories  # the next call forgets them\n"
        "    case $state in\n    command) _describe command commands ;;\n    argument)\n"
        "        case $words[1] in\n";
    for (const CommandWords& command : commands) {
        if (command.name.empty()) continue;
        const bool hasArgument = command.argument.kind != Kind::nothing;
        text += "        " + command.name + ") _arguments $common" + zshSpecs(command) +
                (hasArgument ? " " + asWord("*:argument:" + zshAction(command.argument)) : "") + " ;;\n";
    }
    return text + "        esac ;;\n    esac\n}\n_qvp \"$@\"\n";
}

namespace {

// ---- fish

std::string fishArgument(const Completable& value) {
    switch (value.kind) {
        case Kind::choice:
            return " -x -a " + asWord(joined(value.choices, " "));
        case Kind::directory:
            return " -x -a '(__fish_complete_directories)'";
        case Kind::file:
            return " -r -F";
        case Kind::plugin:
            return " -x -a '(__qvp_plugins)'";
        default:
            return value.kind == Kind::text ? " -x" : "";
    }
}

std::string fishOption(const Option& option, const std::string& condition) {
    std::string text = "complete -c qvp" + condition;
    for (const std::string& name : option.names) {
        const bool isLong = name.starts_with("--");
        text += std::string(isLong ? " -l " : " -s ") + name.substr(isLong ? 2 : 1);
    }
    return text + fishArgument(option.value) + " -d " + asWord(option.description) + "\n";
}

}  // namespace

std::string fishCompletion(const std::vector<CommandWords>& commands) {
    std::string text =
        "# Completes qvp in fish; made by \"qvp completion fish\".\n"
        "function __qvp_plugins\n"
        "    set -l words (commandline -opc)\n    set -l given\n"
        "    for i in (seq 2 (count $words))\n"
        "        test $words[(math $i - 1)] = --dir; and set -a given --dir $words[$i]\n    end\n"
        "    $words[1] $given completion names 2>/dev/null\n"
        "    __fish_complete_suffix .qvp\nend\n"
        "complete -c qvp -f\n";
    const std::string names = joined(namesOf(commands), " ");
    for (const Option& option : commands.front().options) text += fishOption(option, "");
    for (const CommandWords& command : commands) {
        if (command.name.empty()) continue;
        text += "complete -c qvp -n " + asWord("not __fish_seen_subcommand_from " + names) + " -a " +
                command.name + " -d " + asWord(command.description) + "\n";
        const std::string condition = " -n " + asWord("__fish_seen_subcommand_from " + command.name);
        if (command.argument.kind != Kind::nothing)
            text += "complete -c qvp" + condition + fishArgument(command.argument) + "\n";
        for (const Option& option : command.options) text += fishOption(option, condition);
    }
    return text;
}

}  // namespace qvp
