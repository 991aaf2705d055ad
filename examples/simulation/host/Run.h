#pragma once

#include "../Simulation.h"
#include "Options.h"

constexpr int kStepsPerSecond = 120;

struct Measurement {
    double energy = 0.0;           ///< joules, kinetic and potential; 0 for rest on the floor of the box
    simulation::Vector3 momentum;  ///< newton seconds
};

struct RunResult {
    Measurement start;
    Measurement end;
    double greatestRise = 0.0;  ///< the most that the energy grew within one step
    double seconds = 0.0;       ///< that it took
    int steps = 0;
    int contacts = 0;
};

/// Steps the simulation that the plugins have published, on a thread of its own, lets the recorder note each
/// state, and shares it with those who watch, as the options say.
/// Throws when one of the objects is not in the pool.
RunResult runSimulation(const QvPluginSystem::QvPluginManager& manager, const Options& options);
