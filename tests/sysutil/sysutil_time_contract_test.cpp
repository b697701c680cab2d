/// @file
/// What a client may rely on when it converts times and lays out days: the calendar by arithmetic
/// of our own, zones by the platform's own calls.
#include <CSFunc.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/import_patch.h"

namespace
{

using ostrel::test::ImportPatch;

using TimeValue = unsigned __int64;

constexpr TimeValue kHour = 3600000;

static_assert(std::is_same_v<decltype(&CSFunc::s_F_n_GetCurTm), TimeValue (*)()>);
static_assert(std::is_same_v<
              decltype(static_cast<void (*)(SYSTEMTIME, TimeValue&)>(&CSFunc::s_S_ChangeTimeType)),
              void (*)(SYSTEMTIME, TimeValue&)>);
static_assert(
    std::is_same_v<decltype(static_cast<void (*)(TimeValue, SYSTEMTIME&, TIME_ZONE_INFORMATION*)>(
                       &CSFunc::s_S_ChangeTimeType)),
                   void (*)(TimeValue, SYSTEMTIME&, TIME_ZONE_INFORMATION*)>);
static_assert(std::is_same_v<decltype(&CSFunc::s_S_SystemTimeToLocalTime),
                             void (*)(TIME_ZONE_INFORMATION*, SYSTEMTIME*, SYSTEMTIME*)>);
static_assert(std::is_same_v<decltype(&CSFunc::s_S_LocalTimeToSystemTime),
                             void (*)(TIME_ZONE_INFORMATION*, SYSTEMTIME*, SYSTEMTIME*, bool)>);
static_assert(std::is_same_v<decltype(&CSFunc::s_S_CalDayHours),
                             void (*)(TIME_ZONE_INFORMATION*, SYSTEMTIME*, CUIntArray*, TimeValue*,
                                      TimeValue*)>);

// ---- The calendar ------------------------------------------------------------------------------

bool IsLeapYear(int year)
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int DaysInMonth(int year, int month)
{
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return kDays[month - 1] + (month == 2 && IsLeapYear(year) ? 1 : 0);
}

/// Days since 1970-01-01, counted one by one.
TimeValue DayNumber(int year, int month, int day)
{
    TimeValue days = 0;
    for (int y = 1970; y < year; ++y)
    {
        days += IsLeapYear(y) ? 366 : 365;
    }
    for (int m = 1; m < month; ++m)
    {
        days += static_cast<TimeValue>(DaysInMonth(year, m));
    }
    return days + static_cast<TimeValue>(day) - 1;
}

TimeValue ValueOf(const SYSTEMTIME& utc)
{
    return ((DayNumber(utc.wYear, utc.wMonth, utc.wDay) * 24 + utc.wHour) * 60 + utc.wMinute) *
               60000 +
           utc.wSecond * 1000u + utc.wMilliseconds;
}

SYSTEMTIME Calendar(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
                    int milliseconds = 0)
{
    SYSTEMTIME time = {};
    time.wYear = static_cast<WORD>(year);
    time.wMonth = static_cast<WORD>(month);
    time.wDay = static_cast<WORD>(day);
    time.wHour = static_cast<WORD>(hour);
    time.wMinute = static_cast<WORD>(minute);
    time.wSecond = static_cast<WORD>(second);
    time.wMilliseconds = static_cast<WORD>(milliseconds);
    // 1970-01-01 was a Thursday.
    time.wDayOfWeek = static_cast<WORD>((DayNumber(year, month, day) + 4) % 7);
    return time;
}

/// The calendar time in UTC, by the platform.
SYSTEMTIME CalendarOf(TimeValue value)
{
    ULARGE_INTEGER ticks;
    ticks.QuadPart = value * 10000 + 116444736000000000ULL;
    const FILETIME file = {ticks.LowPart, ticks.HighPart};
    SYSTEMTIME time = {};
    EXPECT_NE(FileTimeToSystemTime(&file, &time), FALSE);
    return time;
}

std::string TextOf(const SYSTEMTIME& time)
{
    char text[100];
    std::snprintf(text, sizeof(text), "%04u-%02u-%02u %02u:%02u:%02u.%03u day %u", time.wYear,
                  time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond,
                  time.wMilliseconds, time.wDayOfWeek);
    return text;
}

/// What no conversion writes, so that it shows whether a record was left alone.
SYSTEMTIME Untouched()
{
    return SYSTEMTIME{7001, 7002, 7003, 7004, 7005, 7006, 7007, 7008};
}

SYSTEMTIME UntouchedBut(WORD milliseconds)
{
    SYSTEMTIME time = Untouched();
    time.wMilliseconds = milliseconds;
    return time;
}

// ---- Zones -------------------------------------------------------------------------------------

/// The @p week-th Sunday of a month (5: the last), at a local hour.
SYSTEMTIME OnSunday(int month, int week, int hour)
{
    SYSTEMTIME date = {};
    date.wMonth = static_cast<WORD>(month);
    date.wDay = static_cast<WORD>(week);
    date.wHour = static_cast<WORD>(hour);
    return date;
}

TIME_ZONE_INFORMATION Zone(LONG bias, LONG daylightBias, const SYSTEMTIME& daylightBegins,
                           const SYSTEMTIME& daylightEnds)
{
    TIME_ZONE_INFORMATION zone = {};
    zone.Bias = bias;
    zone.DaylightBias = daylightBias;
    zone.DaylightDate = daylightBegins;
    zone.StandardDate = daylightEnds;
    return zone;
}

TIME_ZONE_INFORMATION Berlin()
{
    return Zone(-60, -60, OnSunday(3, 5, 2), OnSunday(10, 5, 3));
}

TIME_ZONE_INFORMATION NewYork()
{
    return Zone(300, -60, OnSunday(3, 2, 2), OnSunday(11, 1, 2));
}

TIME_ZONE_INFORMATION Sydney()
{
    return Zone(-600, -60, OnSunday(10, 1, 2), OnSunday(4, 1, 3));
}

TIME_ZONE_INFORMATION Kolkata()
{
    return Zone(-330, 0, SYSTEMTIME{}, SYSTEMTIME{});
}

/// Its clocks change by half an hour.
TIME_ZONE_INFORMATION LordHowe()
{
    return Zone(-630, -30, OnSunday(10, 1, 2), OnSunday(4, 1, 2));
}

/// Daylight saving begins at midnight: the day has no hour 0.
TIME_ZONE_INFORMATION Asuncion()
{
    return Zone(240, -60, OnSunday(10, 1, 0), OnSunday(3, 4, 0));
}

/// As records of zones without daylight saving often are: a bias, but no dates.
TIME_ZONE_INFORMATION Tokyo()
{
    return Zone(-540, -60, SYSTEMTIME{}, SYSTEMTIME{});
}

std::vector<std::pair<const char*, TIME_ZONE_INFORMATION>> AllZones()
{
    return {{"Berlin", Berlin()},   {"New York", NewYork()},   {"Sydney", Sydney()},
            {"Kolkata", Kolkata()}, {"Lord Howe", LordHowe()}, {"Asuncion", Asuncion()},
            {"Tokyo", Tokyo()}};
}

SYSTEMTIME PlatformLocal(TIME_ZONE_INFORMATION* zone, SYSTEMTIME utc)
{
    const WORD milliseconds = std::exchange(utc.wMilliseconds, WORD{0});
    SYSTEMTIME local = {};
    EXPECT_NE(SystemTimeToTzSpecificLocalTime(zone, &utc, &local), FALSE);
    local.wMilliseconds = milliseconds;
    return local;
}

SYSTEMTIME PlatformUtc(TIME_ZONE_INFORMATION* zone, SYSTEMTIME local)
{
    const WORD milliseconds = std::exchange(local.wMilliseconds, WORD{0});
    SYSTEMTIME utc = {};
    EXPECT_NE(TzSpecificLocalTimeToSystemTime(zone, &local, &utc), FALSE);
    utc.wMilliseconds = milliseconds;
    return utc;
}

SYSTEMTIME LibraryUtc(TIME_ZONE_INFORMATION zone, SYSTEMTIME local, bool later)
{
    SYSTEMTIME utc = Untouched();
    CSFunc::s_S_LocalTimeToSystemTime(&zone, &local, &utc, later);
    return utc;
}

// ---- A machine elsewhere -----------------------------------------------------------------------

BOOL WINAPI ToLocalInBerlin(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* utc,
                            SYSTEMTIME* local)
{
    const TIME_ZONE_INFORMATION berlin = Berlin();
    return SystemTimeToTzSpecificLocalTime(zone != nullptr ? zone : &berlin, utc, local);
}

BOOL WINAPI ToUtcInBerlin(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* local,
                          SYSTEMTIME* utc)
{
    const TIME_ZONE_INFORMATION berlin = Berlin();
    return TzSpecificLocalTimeToSystemTime(zone != nullptr ? zone : &berlin, local, utc);
}

/// While it lives, the machine's current zone is Berlin's as far as the library can see.
class MachineInBerlin
{
private:
    ImportPatch<decltype(ToLocalInBerlin)> vm_toLocal{"SystemTimeToTzSpecificLocalTime",
                                                      ToLocalInBerlin};
    ImportPatch<decltype(ToUtcInBerlin)> vm_toUtc{"TzSpecificLocalTimeToSystemTime", ToUtcInBerlin};
};

// ---- Now ---------------------------------------------------------------------------------------

TimeValue PlatformNow()
{
    SYSTEMTIME now;
    GetSystemTime(&now);
    return ValueOf(now);
}

TEST(SysutilContractCurrentTime, CountsMillisecondsSince1970InUtc)
{
    const TimeValue before = PlatformNow();
    const TimeValue now = CSFunc::s_F_n_GetCurTm();
    const TimeValue after = PlatformNow();

    // Two clocks make it up: it may be a second off.
    EXPECT_GE(now + 2000, before);
    EXPECT_LE(now, after + 2000);
}

void WINAPI GetSystemTimeWith777Milliseconds(SYSTEMTIME* time)
{
    *time = Calendar(1999, 1, 2, 3, 4, 5, 777);
}

TEST(SysutilContractCurrentTime, TakesTheMillisecondFieldOfTheSystemTimeAndTheSecondsOfTheRuntime)
{
    const ImportPatch patch("GetSystemTime", GetSystemTimeWith777Milliseconds);

    const auto before = static_cast<TimeValue>(_time64(nullptr));
    const TimeValue now = CSFunc::s_F_n_GetCurTm();
    const auto after = static_cast<TimeValue>(_time64(nullptr));

    EXPECT_EQ(now % 1000, 777u);
    EXPECT_GE(now / 1000, before);
    EXPECT_LE(now / 1000, after);
}

TEST(SysutilContractCurrentTime, MovesOn)
{
    const TimeValue first = CSFunc::s_F_n_GetCurTm();
    Sleep(1100);
    EXPECT_GE(CSFunc::s_F_n_GetCurTm() + 1000, first + 1100);
}

// ---- Calendar and time value -------------------------------------------------------------------

TimeValue LibraryValueOf(const SYSTEMTIME& utc)
{
    TimeValue value = 0;
    CSFunc::s_S_ChangeTimeType(utc, value);
    return value;
}

std::vector<SYSTEMTIME> SomeTimes()
{
    return {Calendar(1970, 1, 1),
            Calendar(1970, 1, 1, 0, 0, 0, 1),
            Calendar(1970, 12, 31, 23, 59, 59, 999),
            Calendar(1972, 2, 29, 12, 0, 0, 500),
            Calendar(1999, 12, 31, 23, 59, 59, 999),
            Calendar(2000, 2, 29, 1, 2, 3, 4),
            Calendar(2001, 9, 9, 1, 46, 40, 0),
            Calendar(2021, 3, 28, 1, 0, 0, 0),
            Calendar(2038, 1, 19, 3, 14, 7, 999),
            Calendar(2038, 1, 19, 3, 14, 8, 0),
            Calendar(2100, 2, 28, 23, 59, 59, 999),
            Calendar(2100, 3, 1),
            Calendar(2106, 2, 7, 6, 28, 16, 7),
            Calendar(2999, 12, 31, 23, 59, 59, 999)};
}

TEST(SysutilContractTimeValue, OfTheEpochPlus123MillisecondsIs123AndBack)
{
    EXPECT_EQ(LibraryValueOf(Calendar(1970, 1, 1, 0, 0, 0, 123)), 123u);

    SYSTEMTIME time = Untouched();
    CSFunc::s_S_ChangeTimeType(123, time, nullptr);
    EXPECT_EQ(TextOf(time), "1970-01-01 00:00:00.123 day 4");
}

TEST(SysutilContractTimeValue, OfACalendarTimeCountsItsMilliseconds)
{
    for (const SYSTEMTIME& time : SomeTimes())
    {
        EXPECT_EQ(LibraryValueOf(time), ValueOf(time)) << TextOf(time);
    }
    EXPECT_EQ(LibraryValueOf(Calendar(2001, 9, 9, 1, 46, 40)), 1000000000000u);
}

TEST(SysutilContractTimeValue, DoesNotDependOnTheDayOfTheWeek)
{
    for (const WORD day : {0, 1, 6, 7, 65535})
    {
        SYSTEMTIME time = Calendar(2021, 7, 4, 5, 6, 7, 8);
        time.wDayOfWeek = day;
        EXPECT_EQ(LibraryValueOf(time), ValueOf(time)) << day;
    }
}

TEST(SysutilContractTimeValue, OfFieldsOutOfTheirRangeIsTheRuntimes)
{
    std::vector<SYSTEMTIME> times(7, Calendar(2021, 6, 15, 12, 30, 30, 250));
    times[0].wMonth = 13;
    times[1].wDay = 31;
    times[2].wHour = 25;
    times[3].wMinute = 600;
    times[4].wSecond = 65535;
    times[5].wYear = 1969;
    times[6].wMilliseconds = 65535;
    for (const SYSTEMTIME& time : times)
    {
        std::tm brokenDown = {};
        brokenDown.tm_sec = time.wSecond;
        brokenDown.tm_min = time.wMinute;
        brokenDown.tm_hour = time.wHour;
        brokenDown.tm_mday = time.wDay;
        brokenDown.tm_mon = time.wMonth - 1;
        brokenDown.tm_year = time.wYear - 1900;
        const auto expected =
            static_cast<TimeValue>(_mkgmtime64(&brokenDown)) * 1000 + time.wMilliseconds;
        EXPECT_EQ(LibraryValueOf(time), expected) << TextOf(time);
    }
}

TEST(SysutilContractCalendarTime, WithoutAZoneIsUtcWithEveryField)
{
    for (const SYSTEMTIME& expected : SomeTimes())
    {
        SYSTEMTIME time = Untouched();
        CSFunc::s_S_ChangeTimeType(ValueOf(expected), time, nullptr);
        EXPECT_EQ(TextOf(time), TextOf(expected));
    }
}

TEST(SysutilContractCalendarTime, OfEveryDayOfFourCenturiesConvertsThereAndBack)
{
    for (TimeValue day = 0; day < 146097; ++day)
    {
        const TimeValue value = day * 24 * kHour + day * 577 % (24 * kHour);
        SYSTEMTIME time = Untouched();
        CSFunc::s_S_ChangeTimeType(value, time, nullptr);
        ASSERT_EQ(LibraryValueOf(time), value) << TextOf(time);
        ASSERT_EQ(time.wDayOfWeek, (day + 4) % 7) << TextOf(time);
    }
}

TEST(SysutilContractCalendarTime, WithAZoneIsThePlatformsLocalTimeAndKeepsTheMilliseconds)
{
    for (auto& [name, zone] : AllZones())
    {
        for (const SYSTEMTIME& utc :
             {Calendar(2021, 1, 1, 0, 0, 0, 0), Calendar(2021, 7, 1, 12, 34, 56, 789),
              Calendar(2021, 3, 28, 0, 59, 59, 999), Calendar(2021, 3, 28, 1, 0, 0, 1),
              Calendar(2021, 10, 31, 0, 59, 59, 999), Calendar(2021, 10, 31, 1, 0, 0, 1)})
        {
            TIME_ZONE_INFORMATION given = zone;
            SYSTEMTIME local = Untouched();
            CSFunc::s_S_ChangeTimeType(ValueOf(utc), local, &given);
            EXPECT_EQ(TextOf(local), TextOf(PlatformLocal(&given, utc))) << name;
        }
    }
}

TEST(SysutilContractCalendarTime, WithAZoneFollowsItsDaylightSaving)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME local = Untouched();
    CSFunc::s_S_ChangeTimeType(ValueOf(Calendar(2021, 1, 1, 23, 30, 0, 5)), local, &zone);
    EXPECT_EQ(TextOf(local), TextOf(Calendar(2021, 1, 2, 0, 30, 0, 5)));
    CSFunc::s_S_ChangeTimeType(ValueOf(Calendar(2021, 7, 1, 23, 30, 0, 5)), local, &zone);
    EXPECT_EQ(TextOf(local), TextOf(Calendar(2021, 7, 2, 1, 30, 0, 5)));
}

TEST(SysutilContractCalendarTime, BehindTheLastYearIsTheOneDocumentedAndSetsTheMilliseconds)
{
    const TimeValue value = ValueOf(Calendar(3002, 1, 1, 0, 0, 0, 321));
    SYSTEMTIME time = Untouched();
    CSFunc::s_S_ChangeTimeType(value, time, nullptr);
    EXPECT_EQ(time.wYear, 1899);
    EXPECT_EQ(time.wMonth, 0);
    EXPECT_EQ(time.wDay, 65535);
    EXPECT_EQ(time.wDayOfWeek, 65535);
    EXPECT_EQ(time.wHour, 65535);
    EXPECT_EQ(time.wMinute, 65535);
    EXPECT_EQ(time.wSecond, 65535);
    EXPECT_EQ(time.wMilliseconds, 321);

    TIME_ZONE_INFORMATION zone = Berlin();
    time = Untouched();
    CSFunc::s_S_ChangeTimeType(value, time, &zone);
    EXPECT_EQ(TextOf(time), TextOf(UntouchedBut(321)));
}

// ---- Local time --------------------------------------------------------------------------------

TEST(SysutilContractLocalTime, OfUtcIsThePlatformsAndKeepsTheMillisecondsInBothRecords)
{
    for (auto& [name, zone] : AllZones())
    {
        for (TimeValue value = ValueOf(Calendar(2021, 1, 1, 0, 15, 0, 777));
             value < ValueOf(Calendar(2022, 1, 1)); value += 5 * kHour)
        {
            TIME_ZONE_INFORMATION given = zone;
            const SYSTEMTIME utc = CalendarOf(value);
            SYSTEMTIME input = utc;
            SYSTEMTIME local = Untouched();
            CSFunc::s_S_SystemTimeToLocalTime(&given, &input, &local);
            ASSERT_EQ(TextOf(local), TextOf(PlatformLocal(&given, utc))) << name;
            ASSERT_EQ(TextOf(input), TextOf(utc)) << name;
        }
    }
}

TEST(SysutilContractLocalTime, WithoutAZoneIsTheMachines)
{
    SYSTEMTIME utc = Calendar(2021, 7, 1, 12, 0, 0, 42);
    SYSTEMTIME local = Untouched();
    CSFunc::s_S_SystemTimeToLocalTime(nullptr, &utc, &local);
    EXPECT_EQ(TextOf(local), TextOf(PlatformLocal(nullptr, utc)));

    const MachineInBerlin machine;
    CSFunc::s_S_SystemTimeToLocalTime(nullptr, &utc, &local);
    EXPECT_EQ(TextOf(local), TextOf(Calendar(2021, 7, 1, 14, 0, 0, 42)));
}

TEST(SysutilContractCalendarTime, WithoutAZoneIsUtcWhereverTheMachineIs)
{
    const MachineInBerlin machine;
    SYSTEMTIME time = Untouched();
    CSFunc::s_S_ChangeTimeType(ValueOf(Calendar(2021, 7, 1, 12, 0, 0, 42)), time, nullptr);
    EXPECT_EQ(TextOf(time), TextOf(Calendar(2021, 7, 1, 12, 0, 0, 42)));
}

TEST(SysutilContractLocalTime, NeedsBothRecords)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME utc = Calendar(2021, 7, 1, 12, 0, 0, 42);
    SYSTEMTIME local = Untouched();
    CSFunc::s_S_SystemTimeToLocalTime(&zone, &utc, nullptr);
    CSFunc::s_S_SystemTimeToLocalTime(&zone, nullptr, &local);
    CSFunc::s_S_SystemTimeToLocalTime(&zone, nullptr, nullptr);
    EXPECT_EQ(TextOf(utc), TextOf(Calendar(2021, 7, 1, 12, 0, 0, 42)));
    EXPECT_EQ(TextOf(local), TextOf(Untouched()));
}

TEST(SysutilContractLocalTime, OfARefusedDateIsLeftAloneButForTheMilliseconds)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME utc = Calendar(2021, 7, 1, 12, 0, 0, 42);
    utc.wMonth = 13;
    SYSTEMTIME platform = Untouched();
    ASSERT_EQ(SystemTimeToTzSpecificLocalTime(&zone, &utc, &platform), FALSE);

    SYSTEMTIME local = Untouched();
    CSFunc::s_S_SystemTimeToLocalTime(&zone, &utc, &local);
    EXPECT_EQ(TextOf(local), TextOf(UntouchedBut(42)));
    EXPECT_EQ(utc.wMilliseconds, 42);
}

TEST(SysutilContractLocalTime, MayBeTheRecordOfTheUtcTime)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME time = Calendar(2021, 7, 1, 12, 0, 0, 42);
    CSFunc::s_S_SystemTimeToLocalTime(&zone, &time, &time);
    EXPECT_EQ(TextOf(time), TextOf(Calendar(2021, 7, 1, 14, 0, 0, 42)));
    CSFunc::s_S_LocalTimeToSystemTime(&zone, &time, &time, true);
    EXPECT_EQ(TextOf(time), TextOf(Calendar(2021, 7, 1, 12, 0, 0, 42)));
}

std::vector<WORD> g_millisecondsGiven;

BOOL WINAPI RecordedToLocal(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* utc,
                            SYSTEMTIME* local)
{
    g_millisecondsGiven.push_back(utc->wMilliseconds);
    return SystemTimeToTzSpecificLocalTime(zone, utc, local);
}

BOOL WINAPI RecordedToUtc(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* local,
                          SYSTEMTIME* utc)
{
    g_millisecondsGiven.push_back(local->wMilliseconds);
    return TzSpecificLocalTimeToSystemTime(zone, local, utc);
}

TEST(SysutilContractLocalTime, GivesThePlatformWholeSecondsOnly)
{
    g_millisecondsGiven.clear();
    const ImportPatch toLocal("SystemTimeToTzSpecificLocalTime", RecordedToLocal);
    const ImportPatch toUtc("TzSpecificLocalTimeToSystemTime", RecordedToUtc);
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME utc = Calendar(2021, 10, 31, 0, 30, 0, 999);
    SYSTEMTIME local = Untouched();

    CSFunc::s_S_SystemTimeToLocalTime(&zone, &utc, &local);
    ASSERT_EQ(g_millisecondsGiven, std::vector<WORD>(1, 0));
    CSFunc::s_S_LocalTimeToSystemTime(&zone, &local, &utc, false);
    ASSERT_EQ(g_millisecondsGiven, std::vector<WORD>(2, 0));
    CSFunc::s_S_LocalTimeToSystemTime(&zone, &local, &utc, true);
    CSFunc::s_S_ChangeTimeType(ValueOf(utc), local, &zone);
    ASSERT_GE(g_millisecondsGiven.size(), 4u);
    EXPECT_EQ(g_millisecondsGiven, std::vector<WORD>(g_millisecondsGiven.size(), 0));
}

// ---- Local time to UTC -------------------------------------------------------------------------

TEST(SysutilContractUtcOfLocalTime, IsThePlatformsAndKeepsTheMillisecondsInBothRecords)
{
    for (auto& [name, zone] : AllZones())
    {
        for (TimeValue value = ValueOf(Calendar(2021, 1, 1, 0, 15, 0, 777));
             value < ValueOf(Calendar(2022, 1, 1)); value += 5 * kHour)
        {
            TIME_ZONE_INFORMATION given = zone;
            const SYSTEMTIME local = CalendarOf(value);
            SYSTEMTIME input = local;
            SYSTEMTIME utc = Untouched();
            CSFunc::s_S_LocalTimeToSystemTime(&given, &input, &utc, false);
            ASSERT_EQ(TextOf(utc), TextOf(PlatformUtc(&given, local))) << name;
            ASSERT_EQ(TextOf(input), TextOf(local)) << name;
        }
    }
}

TEST(SysutilContractUtcOfLocalTime, WithoutAZoneIsTheMachinesWhicheverHourIsWanted)
{
    for (const bool later : {false, true})
    {
        SYSTEMTIME local = Calendar(2021, 7, 1, 12, 0, 0, 42);
        SYSTEMTIME utc = Untouched();
        CSFunc::s_S_LocalTimeToSystemTime(nullptr, &local, &utc, later);
        EXPECT_EQ(TextOf(utc), TextOf(PlatformUtc(nullptr, local)));

        const MachineInBerlin machine;
        local = Calendar(2021, 10, 31, 2, 30, 0, 42);
        CSFunc::s_S_LocalTimeToSystemTime(nullptr, &local, &utc, later);
        EXPECT_EQ(TextOf(utc), TextOf(Calendar(2021, 10, 31, 0, 30, 0, 42)));
    }
}

TEST(SysutilContractUtcOfLocalTime, NeedsBothRecords)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME local = Calendar(2021, 7, 1, 12, 0, 0, 42);
    SYSTEMTIME utc = Untouched();
    for (const bool later : {false, true})
    {
        CSFunc::s_S_LocalTimeToSystemTime(&zone, &local, nullptr, later);
        CSFunc::s_S_LocalTimeToSystemTime(&zone, nullptr, &utc, later);
        CSFunc::s_S_LocalTimeToSystemTime(&zone, nullptr, nullptr, later);
    }
    EXPECT_EQ(TextOf(local), TextOf(Calendar(2021, 7, 1, 12, 0, 0, 42)));
    EXPECT_EQ(TextOf(utc), TextOf(Untouched()));
}

TEST(SysutilContractUtcOfLocalTime, OfARefusedDateIsLeftAloneButForTheMilliseconds)
{
    SYSTEMTIME local = Calendar(2021, 7, 1, 12, 0, 0, 42);
    local.wMonth = 13;
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME platform = Untouched();
    ASSERT_EQ(TzSpecificLocalTimeToSystemTime(&zone, &local, &platform), FALSE);

    EXPECT_EQ(TextOf(LibraryUtc(Berlin(), local, false)), TextOf(UntouchedBut(42)));
}

TEST(SysutilContractUtcOfLocalTime, InTheRepeatedHourIsOneHourLaterWhenTheLaterIsWanted)
{
    const SYSTEMTIME berlin = Calendar(2021, 10, 31, 2, 30, 15, 678);
    EXPECT_EQ(TextOf(LibraryUtc(Berlin(), berlin, false)),
              TextOf(Calendar(2021, 10, 31, 0, 30, 15, 678)));
    EXPECT_EQ(TextOf(LibraryUtc(Berlin(), berlin, true)),
              TextOf(Calendar(2021, 10, 31, 1, 30, 15, 678)));

    const SYSTEMTIME newYork = Calendar(2021, 11, 7, 1, 59, 59, 999);
    EXPECT_EQ(TextOf(LibraryUtc(NewYork(), newYork, false)),
              TextOf(Calendar(2021, 11, 7, 5, 59, 59, 999)));
    EXPECT_EQ(TextOf(LibraryUtc(NewYork(), newYork, true)),
              TextOf(Calendar(2021, 11, 7, 6, 59, 59, 999)));

    const SYSTEMTIME sydney = Calendar(2021, 4, 4, 2, 0, 0, 1);
    EXPECT_EQ(TextOf(LibraryUtc(Sydney(), sydney, false)),
              TextOf(Calendar(2021, 4, 3, 15, 0, 0, 1)));
    EXPECT_EQ(TextOf(LibraryUtc(Sydney(), sydney, true)),
              TextOf(Calendar(2021, 4, 3, 16, 0, 0, 1)));
}

TEST(SysutilContractUtcOfLocalTime, OutsideTheRepeatedHourIsTheSameWhicheverIsWanted)
{
    for (const SYSTEMTIME& local :
         {Calendar(2021, 10, 31, 1, 59, 59, 999), Calendar(2021, 10, 31, 3, 0, 0, 0),
          Calendar(2021, 1, 1, 12, 0, 0, 0), Calendar(2021, 7, 1, 23, 59, 59, 999)})
    {
        EXPECT_EQ(TextOf(LibraryUtc(Berlin(), local, true)),
                  TextOf(LibraryUtc(Berlin(), local, false)));
    }
}

TEST(SysutilContractUtcOfLocalTime, InAZoneWithoutDaylightSavingIsTheSameWhicheverIsWanted)
{
    // The dates of the change stay, only the bias is 0.
    TIME_ZONE_INFORMATION noBias = Berlin();
    noBias.DaylightBias = 0;
    for (const TIME_ZONE_INFORMATION& zone : {noBias, Kolkata()})
    {
        for (int hour = 0; hour < 24; ++hour)
        {
            const SYSTEMTIME local = Calendar(2021, 10, 31, hour, 30, 0, 5);
            EXPECT_EQ(TextOf(LibraryUtc(zone, local, true)),
                      TextOf(LibraryUtc(zone, local, false)));
        }
    }
}

TEST(SysutilContractUtcOfLocalTime, ComparesTheHourOnlyEvenWhereClocksChangeByHalfAnHour)
{
    // On this night 01:30 to 02:00 occurs twice. A quarter past one occurs once; an hour later it
    // is a quarter to two: the same hour.
    const SYSTEMTIME local = Calendar(2021, 4, 4, 1, 15, 0, 9);
    EXPECT_EQ(TextOf(LibraryUtc(LordHowe(), local, false)),
              TextOf(Calendar(2021, 4, 3, 14, 15, 0, 9)));
    EXPECT_EQ(TextOf(LibraryUtc(LordHowe(), local, true)),
              TextOf(Calendar(2021, 4, 3, 15, 15, 0, 9)));
}

/// The later of two occurrences as it is defined, from the platform's own conversions.
SYSTEMTIME LaterByDefinition(TIME_ZONE_INFORMATION zone, const SYSTEMTIME& local)
{
    const SYSTEMTIME utc = PlatformUtc(&zone, local);
    if (zone.DaylightBias == 0)
    {
        return utc;
    }
    const SYSTEMTIME oneHourOn = CalendarOf(ValueOf(utc) + kHour);
    return PlatformLocal(&zone, oneHourOn).wHour == local.wHour ? oneHourOn : utc;
}

TEST(SysutilContractUtcOfLocalTime, IsTheLaterByDefinitionInEveryHalfHourOfAYear)
{
    for (const auto& [name, zone] : AllZones())
    {
        for (TimeValue value = ValueOf(Calendar(2021, 1, 1, 0, 10, 0, 3));
             value < ValueOf(Calendar(2022, 1, 1)); value += kHour / 2)
        {
            const SYSTEMTIME local = CalendarOf(value);
            ASSERT_EQ(TextOf(LibraryUtc(zone, local, true)), TextOf(LaterByDefinition(zone, local)))
                << name << ' ' << TextOf(local);
        }
    }
}

TEST(SysutilContractMilliseconds, SurviveBothDirections)
{
    for (int milliseconds = 0; milliseconds < 1000; ++milliseconds)
    {
        TIME_ZONE_INFORMATION zone = NewYork();
        SYSTEMTIME utc = Calendar(2021, 7, 1, 1, 2, 3, milliseconds);
        SYSTEMTIME local = Untouched();
        SYSTEMTIME back = Untouched();
        CSFunc::s_S_SystemTimeToLocalTime(&zone, &utc, &local);
        ASSERT_EQ(local.wMilliseconds, milliseconds);
        CSFunc::s_S_LocalTimeToSystemTime(&zone, &local, &back, milliseconds % 2 != 0);
        ASSERT_EQ(TextOf(back), TextOf(utc));
        SYSTEMTIME converted = Untouched();
        CSFunc::s_S_ChangeTimeType(LibraryValueOf(utc), converted, &zone);
        ASSERT_EQ(TextOf(converted), TextOf(local));
    }
}

// ---- The hours of a day ------------------------------------------------------------------------

struct Day
{
    std::vector<unsigned> hours;
    TimeValue start = 1;
    TimeValue end = 1;
};

std::vector<unsigned> ElementsOf(const CUIntArray& array)
{
    std::vector<unsigned> elements;
    for (INT_PTR i = 0; i < array.GetSize(); ++i)
    {
        elements.push_back(array.GetAt(i));
    }
    return elements;
}

Day LibraryDay(TIME_ZONE_INFORMATION zone, SYSTEMTIME date)
{
    Day day;
    CUIntArray hours;
    CSFunc::s_S_CalDayHours(&zone, &date, &hours, &day.start, &day.end);
    day.hours = ElementsOf(hours);
    return day;
}

std::vector<unsigned> Hours(unsigned first = 0)
{
    std::vector<unsigned> hours;
    for (unsigned hour = first; hour < 24; ++hour)
    {
        hours.push_back(hour);
    }
    return hours;
}

std::vector<unsigned> HoursWithout(unsigned skipped)
{
    std::vector<unsigned> hours = Hours();
    hours.erase(hours.begin() + skipped);
    return hours;
}

std::vector<unsigned> HoursWithTwice(unsigned repeated)
{
    std::vector<unsigned> hours = Hours();
    hours.insert(hours.begin() + repeated, repeated);
    return hours;
}

TEST(SysutilContractDayHours, OfANormalDayAreZeroTo23AndItEnds24HoursAfterItsStart)
{
    const Day berlin = LibraryDay(Berlin(), Calendar(2021, 7, 4));
    EXPECT_EQ(berlin.hours, Hours());
    EXPECT_EQ(berlin.start, ValueOf(Calendar(2021, 7, 3, 22)));
    EXPECT_EQ(berlin.end, berlin.start + 24 * kHour);

    const Day kolkata = LibraryDay(Kolkata(), Calendar(2021, 7, 4));
    EXPECT_EQ(kolkata.hours, Hours());
    EXPECT_EQ(kolkata.start, ValueOf(Calendar(2021, 7, 3, 18, 30)));
    EXPECT_EQ(kolkata.end, kolkata.start + 24 * kHour);
}

TEST(SysutilContractDayHours, OfADayOnWhichClocksGoForwardLackOneAndItEnds23HoursAfterItsStart)
{
    const Day berlin = LibraryDay(Berlin(), Calendar(2021, 3, 28));
    EXPECT_EQ(berlin.hours.size(), 23u);
    EXPECT_EQ(berlin.hours, HoursWithout(2));
    EXPECT_EQ(berlin.start, ValueOf(Calendar(2021, 3, 27, 23)));
    EXPECT_EQ(berlin.end, berlin.start + 23 * kHour);

    const Day newYork = LibraryDay(NewYork(), Calendar(2021, 3, 14));
    EXPECT_EQ(newYork.hours, HoursWithout(2));
    EXPECT_EQ(newYork.start, ValueOf(Calendar(2021, 3, 14, 5)));
    EXPECT_EQ(newYork.end, newYork.start + 23 * kHour);
}

TEST(SysutilContractDayHours, OfADayOnWhichClocksGoBackHaveOneTwiceAndItsEndIsZero)
{
    const Day berlin = LibraryDay(Berlin(), Calendar(2021, 10, 31));
    EXPECT_EQ(berlin.hours.size(), 25u);
    EXPECT_EQ(berlin.hours, HoursWithTwice(2));
    EXPECT_EQ(berlin.start, ValueOf(Calendar(2021, 10, 30, 22)));
    EXPECT_EQ(berlin.end, 0u);

    const Day newYork = LibraryDay(NewYork(), Calendar(2021, 11, 7));
    EXPECT_EQ(newYork.hours, HoursWithTwice(1));
    EXPECT_EQ(newYork.start, ValueOf(Calendar(2021, 11, 7, 4)));
    EXPECT_EQ(newYork.end, 0u);
}

TEST(SysutilContractDayHours, OfADayWithoutMidnightBeginWithOne)
{
    const Day day = LibraryDay(Asuncion(), Calendar(2021, 10, 3));
    EXPECT_EQ(day.hours, Hours(1));
    EXPECT_EQ(day.start, ValueOf(Calendar(2021, 10, 3, 4)));
    EXPECT_EQ(day.end, day.start + 23 * kHour);
}

TEST(SysutilContractDayHours, SetTheTimeOfTheCallersDayToMidnight)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME date = Calendar(2021, 7, 4, 23, 59, 58, 997);
    TimeValue start = 1;
    CSFunc::s_S_CalDayHours(&zone, &date, nullptr, &start, nullptr);
    EXPECT_EQ(TextOf(date), TextOf(Calendar(2021, 7, 4)));
    EXPECT_EQ(start, ValueOf(Calendar(2021, 7, 3, 22)));
}

TEST(SysutilContractDayHours, AreAppendedToWhatTheArrayHolds)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME date = Calendar(2021, 7, 4);
    CUIntArray hours;
    hours.Add(100);
    hours.Add(200);
    CSFunc::s_S_CalDayHours(&zone, &date, &hours, nullptr, nullptr);
    std::vector<unsigned> expected = Hours();
    expected.insert(expected.begin(), {100, 200});
    EXPECT_EQ(ElementsOf(hours), expected);
}

TEST(SysutilContractDayHours, NeedNoneOfTheirReceivers)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME date = Calendar(2021, 7, 4);
    TimeValue end = 1;
    CSFunc::s_S_CalDayHours(&zone, &date, nullptr, nullptr, nullptr);
    CSFunc::s_S_CalDayHours(&zone, &date, nullptr, nullptr, &end);
    EXPECT_EQ(end, ValueOf(Calendar(2021, 7, 4, 22)));
}

TEST(SysutilContractDayHours, WithoutAZoneAreTheMachines)
{
    const MachineInBerlin machine;
    for (const SYSTEMTIME& date :
         {Calendar(2021, 7, 4), Calendar(2021, 3, 28), Calendar(2021, 10, 31)})
    {
        SYSTEMTIME day = date;
        CUIntArray hours;
        TimeValue start = 1;
        TimeValue end = 1;
        CSFunc::s_S_CalDayHours(nullptr, &day, &hours, &start, &end);
        const Day expected = LibraryDay(Berlin(), date);
        EXPECT_EQ(ElementsOf(hours), expected.hours) << TextOf(date);
        EXPECT_EQ(start, expected.start) << TextOf(date);
        EXPECT_EQ(end, expected.end) << TextOf(date);
    }
}

TEST(SysutilContractDayHours, OfNoDayAreNone)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    CUIntArray hours;
    TimeValue start = 1;
    TimeValue end = 1;
    CSFunc::s_S_CalDayHours(&zone, nullptr, &hours, &start, &end);
    EXPECT_EQ(hours.GetSize(), 0);
    EXPECT_EQ(start, 0u);
    EXPECT_EQ(end, 0u);
}

/// A day as it is defined, walked with the platform's own conversions.
Day DayByDefinition(TIME_ZONE_INFORMATION zone, const SYSTEMTIME& midnight)
{
    Day day;
    day.start = 0;
    day.end = 0;
    TimeValue t = ValueOf(PlatformUtc(&zone, midnight)) - kHour;
    for (int step = 0; step < 26; ++step, t += kHour)
    {
        const SYSTEMTIME local = PlatformLocal(&zone, CalendarOf(t));
        if (local.wDay == midnight.wDay)
        {
            day.hours.push_back(local.wHour);
            day.start = day.start == 0 ? t : day.start;
        }
        else if (day.start != 0)
        {
            day.end = t;
            break;
        }
    }
    return day;
}

TEST(SysutilContractDayHours, AreThoseByDefinitionOnEveryDayOfAYear)
{
    for (const auto& [name, zone] : AllZones())
    {
        for (TimeValue value = ValueOf(Calendar(2021, 1, 1)); value < ValueOf(Calendar(2022, 1, 1));
             value += 24 * kHour)
        {
            const SYSTEMTIME date = CalendarOf(value);
            const Day expected = DayByDefinition(zone, date);
            const Day day = LibraryDay(zone, date);
            ASSERT_EQ(day.hours, expected.hours) << name << ' ' << TextOf(date);
            ASSERT_EQ(day.start, expected.start) << name << ' ' << TextOf(date);
            ASSERT_EQ(day.end, expected.end) << name << ' ' << TextOf(date);
        }
    }
}

}  // namespace
