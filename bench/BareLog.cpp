#include "BareLog.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

namespace bench {
namespace {

std::atomic<int> threshold{5};

}  // namespace

void bareLog(const char* format, ...) {
    if (threshold.load(std::memory_order_relaxed) < 6) return;
    va_list args;
    va_start(args, format);
    std::vfprintf(stderr, format, args);
    va_end(args);
}

}  // namespace bench
