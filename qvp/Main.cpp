#include "CommandLine.h"
#include "child/Arguments.h"
#include "report/Terminal.h"

#include <exception>
#include <iostream>

int main(int argc, char** argv) {
    try {
        qvp::prepareStandardOutput();
        return qvp::runCommandLine(qvp::programArguments(argc, argv), std::cout, std::cerr,
                                   qvp::outputColumns());
    } catch (const std::exception& exception) {
        std::cerr << "qvp: " << exception.what() << '\n';
        return 1;
    }
}
