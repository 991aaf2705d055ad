#include "os/CalendarTime.h"

#include "os/Environment.h"

#include <cstring>
#include <mutex>

namespace os {

void writeCalendarText(std::time_t time, char* text) {
    const std::lock_guard guard(kEnvironmentLock);
    if (!ctime_r(&time, text)) std::memcpy(text, "Thu Jan  1 00:00:00 1970\n", kCalendarTextSize);
}

std::tm localTime(std::time_t time) {
    const std::lock_guard guard(kEnvironmentLock);
    std::tm fields{};
    const std::time_t epoch = 0;
    if (!localtime_r(&time, &fields)) localtime_r(&epoch, &fields);
    return fields;
}

std::time_t timeOf(std::tm fields) {
    const std::lock_guard guard(kEnvironmentLock);
    return std::mktime(&fields);
}

}  // namespace os
