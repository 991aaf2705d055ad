#pragma once

/// Prints the states of the simulation that another process runs, until its last step or until nothing has
/// happened for some seconds. The program's exit status: 0 when the last step was seen.
int watchSimulation();
