#pragma once

#include <string>

/// The options of the command line.
struct Options {
    bool watch = false;  ///< look at another process's simulation instead of running one
    bool realtime = false;
    bool crash = false;  ///< half-way
    bool live = false;   ///< reload plugins whose files change
    int steps = 240;     ///< with `live`, unlimited by default
    std::string resultFile = "simulation.csv";
    /// Where log files go, and what their names begin with.
    std::string logFile = "simulation-logs/host";
};

enum class Answer {
    Run,        ///< go on with the options
    Done,       ///< the help text was requested and printed
    WrongUsage  ///< told on the standard error stream
};

Answer readOptions(int argc, char** argv, Options& options);
