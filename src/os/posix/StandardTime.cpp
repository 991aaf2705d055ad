#include "os/posix/StandardTime.h"

#include "os/Environment.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <mutex>
#include <optional>

// For each moment the C library gives the offset and a flag for daylight saving time (DST). The flag alone
// does not identify standard time: some editions of the time-zone data mark Dublin's winter as DST, or
// Casablanca's whole year but the month of Ramadan. So standard time is the more westerly offset of January
// and July. That fails only where standard time itself changed: there the flag decides.
namespace os::posix {
namespace {

constexpr std::time_t kMonth = 30L * 24 * 60 * 60;
constexpr std::size_t kMonths = 13;
constexpr long kLargestSaving = 2L * 60 * 60;

struct LocalOffset {
    long seconds = 0;  ///< east of UTC
    bool isDst = false;
};

/// A moment, in the middle, and each month for more than a year before and after it.
using Months = std::array<LocalOffset, 2 * kMonths + 1>;

LocalOffset offsetAt(std::time_t moment) {
    std::tm local{};
    if (!localtime_r(&moment, &local)) return {};
    return {local.tm_gmtoff, local.tm_isdst > 0};
}

Months monthsAround(std::time_t moment) {
    Months months;
    std::time_t month = moment - static_cast<std::time_t>(kMonths) * kMonth;
    for (LocalOffset& offset : months) {
        offset = offsetAt(month);
        month += kMonth;
    }
    return months;
}

bool changesStandard(const Months& months) {
    std::optional<long> standard;
    return std::any_of(months.begin(), months.end(), [&](const LocalOffset& offset) {
        return !offset.isDst && *(standard = standard.value_or(offset.seconds)) != offset.seconds;
    });
}

// At noon of the first day of a month, counted from 0, of a year counted from 1900.
long offsetInMonth(int year, int month) {
    std::tm date{};
    date.tm_year = year;
    date.tm_mon = month;
    date.tm_mday = 1;
    date.tm_hour = 12;
    return offsetAt(timegm(&date)).seconds;
}

long westerlyOffset(std::time_t moment) {
    std::tm local{};
    if (!localtime_r(&moment, &local)) return 0;
    return std::min(offsetInMonth(local.tm_year, 0), offsetInMonth(local.tm_year, 6));
}

// The nearest standard time, if daylight saving time can be derived from it.
template <typename Iterator>
std::optional<long> baseOf(const LocalOffset& dst, Iterator first, Iterator last) {
    const auto standard = std::find_if(first, last, [](const LocalOffset& offset) { return !offset.isDst; });
    if (standard == last) return std::nullopt;
    const long saving = dst.seconds - standard->seconds;
    return saving > 0 && saving <= kLargestSaving ? std::optional(standard->seconds) : std::nullopt;
}

}  // namespace

long standardOffset(std::time_t moment) {
    const std::lock_guard guard(kEnvironmentLock);
    tzset();
    const Months months = monthsAround(moment);
    if (!changesStandard(months)) return westerlyOffset(moment);
    const auto now = months.begin() + kMonths;
    if (!now->isDst) return now->seconds;
    auto base = baseOf(*now, std::make_reverse_iterator(now), months.rend());
    if (!base) base = baseOf(*now, now, months.end());
    return base ? *base : westerlyOffset(moment);
}

}  // namespace os::posix
