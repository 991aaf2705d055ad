#pragma once

#include <version>

#if defined(__GLIBCXX__)
#include <cxxabi.h>
#endif

namespace base {

/// What unwinds a thread that ends in a call (`pthread_exit`, cancellation); it must be thrown on.
#if defined(__GLIBCXX__)
using ForcedUnwind = abi::__forced_unwind;
#else
class ForcedUnwind {};  // another runtime's unwinding passes `catch` clauses
#endif

}  // namespace base
