#pragma once

namespace faults {

/// Puts a function that can fail in the place of each call of the system by the library that fails ever.
void replaceCalls();

}  // namespace faults
