// The program in which plugins' code runs: a plain host, which links the product's library only.

#include "inspect/Inspection.h"

#include <iostream>

int main(int argc, char** argv) {
    if (const auto exitCode = qvp::runAsChild(argc, argv)) return *exitCode;
    std::cerr << "qvp-host is started by qvp\n";
    return 2;
}
