#pragma once

#include <ctime>

/// Conversions of local time. Any thread, even while another thread changes TZ.
namespace os {

/// The size of a calendar text: 24 characters, a newline and a zero.
inline constexpr int kCalendarTextSize = 26;

/// Writes local time as "Thu Jan  1 00:00:00 1970\n"; Windows pads the day with a zero.
void writeCalendarText(std::time_t time, char* text);

/// Local time in calendar fields; the first second of 1970 if the time is outside the range of the calendar.
std::tm localTime(std::time_t time);

/// The time for calendar fields in local time, which may be outside their ranges; -1 if the system cannot
/// represent it.
std::time_t timeOf(std::tm fields);

}  // namespace os
