#include "os/CalendarTime.h"

#include <cstring>

namespace os {

void writeCalendarText(std::time_t time, char* text) {
    if (!ctime_r(&time, text)) std::memcpy(text, "Thu Jan  1 00:00:00 1970\n", kCalendarTextSize);
}

std::tm localTime(std::time_t time) {
    std::tm fields{};
    const std::time_t epoch = 0;
    if (!localtime_r(&time, &fields)) localtime_r(&epoch, &fields);
    return fields;
}

}  // namespace os
