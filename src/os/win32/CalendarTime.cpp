#include "os/CalendarTime.h"

#include <cstring>

namespace os {

void writeCalendarText(std::time_t time, char* text) {
    if (ctime_s(text, kCalendarTextSize, &time) != 0)
        std::memcpy(text, "Thu Jan 01 00:00:00 1970\n", kCalendarTextSize);
}

std::tm localTime(std::time_t time) {
    std::tm fields{};
    const std::time_t epoch = 0;
    if (localtime_s(&fields, &time) != 0) localtime_s(&fields, &epoch);
    return fields;
}

std::time_t timeOf(std::tm fields) { return std::mktime(&fields); }

}  // namespace os
