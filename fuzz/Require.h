#pragma once

#include <cstdlib>

namespace fuzz {

/// Ends the run, so that the fuzzer keeps the input.
inline void require(bool holds) {
    if (!holds) std::abort();
}

}  // namespace fuzz
