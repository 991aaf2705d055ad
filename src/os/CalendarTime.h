#pragma once

#include <ctime>

namespace os {

/// The size of a calendar text: 24 characters, a newline and a zero.
inline constexpr int kCalendarTextSize = 26;

/// Writes local time as "Thu Jan  1 00:00:00 1970\n"; Windows pads the day with a zero. Any thread.
void writeCalendarText(std::time_t time, char* text);

/// Local time in calendar fields; the first second of 1970 for a time that the calendar does not know.
std::tm localTime(std::time_t time);

}  // namespace os
