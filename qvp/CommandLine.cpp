#include "CommandLine.h"

#include <QvPlatform/core/QvVersion.h>
#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/filesystem/Environment.h>

#include "commands/Command.h"
#include "commands/Exists.h"
#include "report/ProgressLine.h"
#include "report/Terminal.h"
#include "report/Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <system_error>

namespace qvp {
namespace {

constexpr int kWrongUse = 2;
constexpr const char* kExitStatus =
    "Exit status: 0 all is OK, 1 a problem was found, 2 invalid command line or failed output.";

struct Options {
    std::vector<std::string> directories;
    bool asJson = false;
    std::string color = "auto";
    double timeLimit = 10;
    std::string plugin;
    std::string atLeast;
};

/// Shows the common options in the help of each command too.
class Help : public CLI::Formatter {
public:
    std::string make_footer(const CLI::App* app) const override {
        std::string footer = Formatter::make_footer(app);
        if (!app->get_parent()) return footer;
        const auto isCommon = [](const CLI::Option* option) { return option->get_group() == kCommonOptions; };
        const auto options = app->get_parent()->get_options(isCommon);
        return make_group(kCommonOptions, false, {options.begin(), options.end()}) + "\n" + footer;
    }

    static constexpr const char* kCommonOptions = "Common options";
};

void addTo(CLI::App& app, Options& options) {
    app.add_option("--dir", options.directories,
                   "A directory to search before those in QVP_PATH and the default; may be repeated")
        ->type_name("DIR")
        ->allow_extra_args(false)
        ->group(Help::kCommonOptions);
    app.add_flag("--json", options.asJson, "Print the report as JSON")->group(Help::kCommonOptions);
    app.add_option("--color", options.color, "Whether the text is coloured; auto: on a terminal")
        ->type_name("WHEN")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->capture_default_str()
        ->group(Help::kCommonOptions);
    app.add_option("--timeout", options.timeLimit,
                   "Time limit for a plugin's code while it is examined, in seconds")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 86400.0))
        ->capture_default_str()
        ->group(Help::kCommonOptions);
    CLI::Option* const exists =
        app.add_option("--exists", options.plugin, "Only tell by the exit status whether this plugin is OK")
            ->type_name("NAME");
    app.add_option("--at-least", options.atLeast, "With --exists: in this version or a later one")
        ->type_name("VERSION")
        ->check(problemOfVersion)
        ->needs(exists);
    app.set_version_flag("--version", std::string("qvp ") + Qv::QvGetVersion());
}

bool wantsColours(const std::string& color) {
    if (color != "auto") return color == "always";
    return QvPlatform::getEnv("NO_COLOR").empty() && isTerminal(false);
}

Setting settingOf(const Options& options) {
    Setting setting;
    setting.directories = searchDirectories(options.directories);
    setting.limits.time = std::chrono::milliseconds(static_cast<std::int64_t>(options.timeLimit * 1000));
    setting.onProgress = [](std::size_t, std::size_t) {};
    return setting;
}

Document runShowingProgress(Command& command, const Options& options, std::ostream& errors) {
    std::optional<ProgressLine> line;
    if (isTerminal(true)) line.emplace(errors);
    Setting setting = settingOf(options);
    if (line) setting.onProgress = [&line](std::size_t done, std::size_t all) { line->set(done, all); };
    return command.run(setting);
}

int runCommand(Command& command, const Options& options, Streams streams) {
    Document document{{"schema", "qvp/1"}, {"command", command.name()}};
    document.update(runShowingProgress(command, options, streams.errors));
    if (options.asJson) {
        // A plugin's texts may contain bytes that are not UTF-8.
        streams.out << document.dump(2, ' ', false, Document::error_handler_t::replace) << '\n';
    } else {
        Page page(streams.out, wantsColours(options.color), streams.columns);
        command.print(document, page);
    }
    return command.exitStatus(document);
}

int refuse(const CLI::App& app, const std::string& problem, std::ostream& errors) {
    const auto given = app.get_subcommands();
    errors << "qvp: " << problem << "\nSee qvp " << (given.empty() ? "" : given.front()->get_name() + " ")
           << "--help.\n";
    return kWrongUse;
}

// The command that was meant, if the first word is none.
std::string aboutUnknownCommand(const CLI::App& app) {
    const std::vector<std::string> unknown = app.remaining();
    const auto word = std::find_if(unknown.begin(), unknown.end(),
                                   [](const std::string& text) { return !text.starts_with("-"); });
    if (!app.get_subcommands().empty() || word == unknown.end()) return {};
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
    const std::string meant = nearest(*word, names);
    return "unknown command \"" + *word + "\"" + (meant.empty() ? "" : "; did you mean \"" + meant + "\"?");
}

int runParsed(const CLI::App& app, Command* command, const Options& options, Streams streams) {
    const bool asksWhetherExists = app.count("--exists") != 0;
    if (asksWhetherExists && command) return refuse(app, "--exists takes no command", streams.errors);
    if (!asksWhetherExists && !command) {
        const std::string unknown = aboutUnknownCommand(app);
        return refuse(app, unknown.empty() ? "a command is missing" : unknown, streams.errors);
    }
    Qv::LogSetLevel(Qv::kLogLevelNone);  // the report says everything
    if (command) return runCommand(*command, options, streams);
    return pluginExists(settingOf(options), options.plugin, options.atLeast) ? 0 : 1;
}

int runWithoutFlush(std::vector<std::string> arguments, Streams streams) {
    CLI::App app("Explains why a plugin is not loaded, and shows how plugins depend on each other.", "qvp");
    Options options;
    app.formatter(std::make_shared<Help>());
    addTo(app, options);
    app.require_subcommand(0, 1);
    app.fallthrough();
    app.footer(std::string(kExitStatus) + "\nSee qvp COMMAND --help for each command.");
    const std::vector<std::unique_ptr<Command>> all = commands();
    Command* chosen = nullptr;
    for (const auto& command : all) {
        CLI::App* subcommand = app.add_subcommand(command->name(), command->summary());
        subcommand->footer(kExitStatus);
        Syntax syntax(*subcommand);
        command->addOptions(syntax);
        subcommand->callback([&chosen, &command] { chosen = command.get(); });
    }
    try {
        std::reverse(arguments.begin(), arguments.end());  // the parser expects the last one first
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error, streams.out, streams.errors);
        const std::string unknown = aboutUnknownCommand(app);
        return refuse(app, unknown.empty() ? error.what() : unknown, streams.errors);
    }
    return runParsed(app, chosen, options, streams);
}

}  // namespace

int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& errors,
                   std::size_t columns) {
    const int status = runWithoutFlush(std::move(arguments), {out, errors, columns});
    out.flush();
    const int reason = errno;
    if (out) return status;
    errors << "qvp: could not write the output: " << std::generic_category().message(reason) << '\n';
    return kWrongUse;
}

std::size_t outputColumns() {
    const std::size_t ofTerminal = terminalColumns();
    if (ofTerminal == 0) return Page::kUnlimited;
    const unsigned long wanted = std::strtoul(QvPlatform::getEnv("COLUMNS").c_str(), nullptr, 10);
    return wanted != 0 ? std::min<std::size_t>(wanted, Page::kUnlimited) : ofTerminal;
}

}  // namespace qvp
