#include "os/posix/StandardTime.h"

#include "support/VariableChange.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

namespace {

struct Moment {
    const char* zone;
    int year;
    int month;
    int day;
    long minutes;  // east of UTC
};

long minutesAt(const Moment& moment) {
    std::tm date{};
    date.tm_year = moment.year - 1900;
    date.tm_mon = moment.month - 1;
    date.tm_mday = moment.day;
    date.tm_hour = 12;
    const support::VariableChange change("TZ", moment.zone);
    return os::posix::standardOffset(timegm(&date)) / 60;
}

void expectStandardTimes(const std::vector<Moment>& moments) {
    for (const Moment& moment : moments)
        EXPECT_EQ(minutesAt(moment), moment.minutes)
            << moment.zone << " " << moment.year << "-" << moment.month << "-" << moment.day;
}

// Dublin in both encodings of its winter time.
TEST(StandardTime, isTheSameInSummerAndWinter) {
    for (const int month : {1, 4, 7, 10, 12})
        expectStandardTimes({{"UTC", 2024, month, 15, 0},
                             {"CET-1CEST,M3.5.0,M10.5.0/3", 2024, month, 15, 60},
                             {"AEST-10AEDT,M10.1.0,M4.1.0/3", 2024, month, 15, 600},
                             {"<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", 2024, month, 15, 630},
                             {"EST5EDT,M3.2.0,M11.1.0", 2024, month, 15, -300},
                             {"GMT0IST,M3.5.0/1,M10.5.0", 2024, month, 15, 0},
                             {"IST-1GMT0,M10.5.0,M3.5.0/1", 2024, month, 15, 0}});
}

TEST(StandardTime, isTheOneInForceWhereItChangedWithinTheYear) {
    if (!std::filesystem::exists("/usr/share/zoneinfo/Asia/Almaty")) GTEST_SKIP() << "no time zones";
    expectStandardTimes({{"Atlantic/Azores", 1993, 6, 29, -60},
                         {"Asia/Sakhalin", 2016, 3, 26, 600},
                         {"Asia/Sakhalin", 2016, 3, 28, 660},
                         {"Asia/Sakhalin", 2016, 12, 31, 660},
                         {"Asia/Almaty", 2024, 2, 28, 360},
                         {"Asia/Almaty", 2024, 3, 2, 300},
                         {"Asia/Almaty", 2024, 12, 31, 300},
                         {"Europe/Istanbul", 2016, 2, 1, 120},
                         {"Europe/Istanbul", 2016, 8, 31, 120},
                         {"Europe/Istanbul", 2016, 9, 8, 180},
                         {"Europe/Istanbul", 2017, 3, 1, 180},
                         {"Pacific/Apia", 2011, 12, 28, -660},
                         {"Pacific/Apia", 2011, 12, 31, 780},
                         {"Africa/Casablanca", 2024, 1, 15, 60},
                         {"Africa/Casablanca", 2024, 3, 20, 60},
                         {"America/Asuncion", 2024, 10, 10, -240},
                         {"America/Asuncion", 2025, 1, 1, -180}});
}

}  // namespace
