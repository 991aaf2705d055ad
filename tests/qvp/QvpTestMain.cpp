// The children that inspect files are instances of this program.

#include "inspect/Inspection.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    if (const auto exitCode = qvp::runAsChild(argc, argv)) return *exitCode;
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
