#include "CommandLine.h"

#include <QvPlatform/core/QvVersion.h>
#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/filesystem/Environment.h>

#include "commands/Command.h"
#include "report/Terminal.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace qvp {
namespace {

constexpr int kWrongUse = 2;
constexpr std::size_t kManyFiles = 20;

struct Options {
    std::vector<std::string> directories;
    bool asJson = false;
    std::string color = "auto";
    double timeLimit = 10;
};

void addTo(CLI::App& app, Options& options) {
    app.add_option("--dir", options.directories,
                   "A directory to search before those in QVP_PATH and the default; may be repeated")
        ->type_name("DIR")
        ->allow_extra_args(false);
    app.add_flag("--json", options.asJson, "Print the report as JSON");
    app.add_option("--color", options.color, "auto, always or never")
        ->type_name("WHEN")
        ->check(CLI::IsMember({"auto", "always", "never"}));
    app.add_option("--timeout", options.timeLimit,
                   "Time limit for a plugin's code while it is examined, in seconds")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 86400.0));
    app.set_version_flag("--version", std::string("qvp ") + Qv::QvGetVersion());
}

bool wantsColours(const std::string& color) {
    if (color != "auto") return color == "always";
    return QvPlatform::getEnv("NO_COLOR").empty() && isTerminal(false);
}

// One line that is overwritten; only on a terminal.
Progress progressOn(std::ostream& errors) {
    if (!isTerminal(true)) return [](std::size_t, std::size_t) {};
    return [&errors](std::size_t done, std::size_t all) {
        if (all <= kManyFiles) return;
        if (done < all)
            errors << "\rExamining plugins: " << done << " of " << all << std::flush;
        else
            errors << "\r\033[K" << std::flush;
    };
}

Setting settingOf(const Options& options, std::ostream& errors) {
    Setting setting;
    setting.directories = searchDirectories(options.directories);
    setting.limits.time = std::chrono::milliseconds(static_cast<std::int64_t>(options.timeLimit * 1000));
    setting.onProgress = progressOn(errors);
    return setting;
}

int runCommand(Command& command, const Options& options, std::ostream& out, std::ostream& errors) {
    Document document{{"schema", "qvp/1"}, {"command", command.name()}};
    document.update(command.run(settingOf(options, errors)));
    if (options.asJson) {
        // A plugin's texts may contain bytes that are not UTF-8.
        out << document.dump(2, ' ', false, Document::error_handler_t::replace) << '\n';
    } else {
        Page page(out, wantsColours(options.color));
        command.print(document, page);
    }
    out.flush();
    return command.exitStatus(document);
}

}  // namespace

int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& errors) {
    CLI::App app("Explains why a plugin is not loaded, and shows how plugins depend on each other.", "qvp");
    Options options;
    addTo(app, options);
    app.require_subcommand(1);
    app.fallthrough();
    const std::vector<std::unique_ptr<Command>> all = commands();
    Command* chosen = nullptr;
    for (const auto& command : all) {
        CLI::App* subcommand = app.add_subcommand(command->name(), command->summary());
        command->addOptions(*subcommand);
        subcommand->callback([&chosen, &command] { chosen = command.get(); });
    }
    try {
        std::reverse(arguments.begin(), arguments.end());  // the parser expects the last one first
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        return app.exit(error, out, errors) == 0 ? 0 : kWrongUse;
    }
    Qv::LogSetLevel(Qv::kLogLevelNone);  // the report says everything
    return runCommand(*chosen, options, out, errors);
}

}  // namespace qvp
