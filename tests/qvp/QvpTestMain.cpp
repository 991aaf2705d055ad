// The children that look at files are this program, run again.

#include "inspect/Inspection.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    if (const auto exitCode = qvp::runAsChild(argc, argv)) return *exitCode;
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
