#include "Options.h"

#include <QvPlatform/core/QvCommandLine.h>

#include <iostream>
#include <limits>

namespace {

// The fewest in which the bodies meet.
constexpr int kFewestSteps = 60;

void addHelp(Qv::QvCommandLine& line, const Options& defaults) {
    line.addOption("--steps N", ("number of steps, at least " + std::to_string(kFewestSteps) + "; else " +
                                 std::to_string(defaults.steps))
                                    .c_str());
    line.addOption("--realtime", "each step takes as long as it simulates; else as fast as it can");
    line.addOption("--watch", "shows the state of the simulation that another process runs");
    line.addOption("--live",
                   "steps in real time, and reloads plugins whose files change; without --steps, until it is "
                   "interrupted");
    line.addOption("--crash", "crashes half-way, to show the report of a crash");
    line.addOption("--result FILE",
                   ("where the bodies' paths are written; else " + defaults.resultFile).c_str());
    line.addOption("--log BASE",
                   ("folder and first part of the log file's name; else " + defaults.logFile).c_str());
    line.addOption("--help", "prints this text");
}

void takeText(Qv::QvCommandLine& line, const char* option, std::string& text) {
    const std::string value = line.getString(option, true);
    if (!value.empty()) text = value;
}

}  // namespace

Answer readOptions(int argc, char** argv, Options& options) {
    Qv::QvCommandLine line(argc, argv);
    addHelp(line, options);
    const char* const helpOptions[] = {"--help", "-h", nullptr};
    if (line.checkForList(helpOptions, true)) {
        line.printHelp();
        return Answer::Done;
    }
    options.watch = line.checkFor("--watch", true);
    options.realtime = line.checkFor("--realtime", true);
    options.crash = line.checkFor("--crash", true);
    options.live = line.checkFor("--live", true);
    if (options.live) options.steps = std::numeric_limits<int>::max();
    if (line.checkFor("--steps", false)) options.steps = line.getInt("--steps", true);
    takeText(line, "--result", options.resultFile);
    takeText(line, "--log", options.logFile);
    if (options.steps < kFewestSteps) std::cerr << "Too few steps; see --help\n";
    for (std::size_t i = 1; i < line.arguments().size(); ++i)
        std::cerr << "Unknown argument " << line.arguments()[i] << "; see --help\n";
    return options.steps < kFewestSteps || line.arguments().size() > 1 ? Answer::WrongUsage : Answer::Run;
}
