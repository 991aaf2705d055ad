#pragma once

#include <ctime>

/// Conversions of local time. Any thread, also while another one changes TZ.
namespace os {

/// The size of a calendar text: 24 characters, a newline and a zero.
inline constexpr int kCalendarTextSize = 26;

/// Writes local time as "Thu Jan  1 00:00:00 1970\n"; Windows pads the day with a zero.
void writeCalendarText(std::time_t time, char* text);

/// Local time in calendar fields; the first second of 1970 for a time that the calendar does not know.
std::tm localTime(std::time_t time);

/// The time of calendar fields in local time, which may lie outside their ranges; -1 for one that the
/// system cannot express.
std::time_t timeOf(std::tm fields);

}  // namespace os
