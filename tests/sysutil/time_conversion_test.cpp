#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>
#include <numeric>
#include <vector>

#include "CSFunc.h"
#include "support/import_patch.h"

static bool operator==(const SYSTEMTIME& a, const SYSTEMTIME& b)
{
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

static void PrintTo(const SYSTEMTIME& time, std::ostream* out)
{
    *out << time.wYear << '-' << time.wMonth << '-' << time.wDay << ' ' << time.wHour << ':'
         << time.wMinute << ':' << time.wSecond << '.' << time.wMilliseconds << ", weekday "
         << time.wDayOfWeek;
}

namespace
{

using ostrel::test::ImportPatch;
using TimeValue = unsigned __int64;
using Hours = std::vector<unsigned int>;

constexpr TimeValue kHour = 3600000;

// What a record holds that nobody has written to.
const SYSTEMTIME kUntouched = {7777, 77, 7, 77, 77, 77, 77, 777};

SYSTEMTIME Time(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
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
    return time;
}

// The same time with the day of the week that a conversion gives.
SYSTEMTIME WithWeekday(SYSTEMTIME time, int weekday)
{
    time.wDayOfWeek = static_cast<WORD>(weekday);
    return time;
}

// A change on the last Sunday of a month.
SYSTEMTIME LastSunday(int month, int hour)
{
    SYSTEMTIME rule = {};
    rule.wMonth = static_cast<WORD>(month);
    rule.wDay = 5;
    rule.wHour = static_cast<WORD>(hour);
    return rule;
}

// Central European time: from the last Sunday of March, 2 h, to that of October, 3 h.
TIME_ZONE_INFORMATION Berlin()
{
    TIME_ZONE_INFORMATION zone = {};
    zone.Bias = -60;
    zone.DaylightBias = -60;
    zone.DaylightDate = LastSunday(3, 2);
    zone.StandardDate = LastSunday(10, 3);
    return zone;
}

TIME_ZONE_INFORMATION WithoutDaylightSaving(LONG bias)
{
    TIME_ZONE_INFORMATION zone = {};
    zone.Bias = bias;
    return zone;
}

TimeValue ValueOf(const SYSTEMTIME& utc)
{
    TimeValue value = 12345;
    CSFunc::s_S_ChangeTimeType(utc, value);
    return value;
}

SYSTEMTIME UtcOf(TimeValue value)
{
    SYSTEMTIME utc = kUntouched;
    CSFunc::s_S_ChangeTimeType(value, utc, nullptr);
    return utc;
}

SYSTEMTIME ToUtc(TIME_ZONE_INFORMATION* zone, SYSTEMTIME local, bool isLater)
{
    SYSTEMTIME utc = kUntouched;
    CSFunc::s_S_LocalTimeToSystemTime(zone, &local, &utc, isLater);
    return utc;
}

struct Day
{
    Hours hours;
    TimeValue start = 1;
    TimeValue end = 1;
};

Day DayOf(TIME_ZONE_INFORMATION* zone, SYSTEMTIME date)
{
    Day day;
    CUIntArray hours;
    CSFunc::s_S_CalDayHours(zone, &date, &hours, &day.start, &day.end);
    for (INT_PTR i = 0; i < hours.GetSize(); ++i)
    {
        day.hours.push_back(hours[i]);
    }
    return day;
}

Hours HoursFrom0To23()
{
    Hours hours(24);
    std::iota(hours.begin(), hours.end(), 0U);
    return hours;
}

// ---- Now ---------------------------------------------------------------------------------------

TEST(CurrentTime, IsTheClocksToASecond)
{
    const auto now = []
    {
        return static_cast<__int64>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                        std::chrono::system_clock::now().time_since_epoch())
                                        .count());
    };
    for (int i = 0; i < 50; ++i)
    {
        const __int64 before = now();
        const auto value = static_cast<__int64>(CSFunc::s_F_n_GetCurTm());
        const __int64 after = now();
        EXPECT_GE(value, before - 1000);
        EXPECT_LE(value, after + 1000);
        Sleep(7);
    }
}

void WINAPI SystemTimeWith789(SYSTEMTIME* time)
{
    *time = Time(2001, 1, 1, 1, 1, 1, 789);
}

TEST(CurrentTime, MillisecondsAreThoseOfTheSystemTime)
{
    const ImportPatch patch("GetSystemTime", SystemTimeWith789);
    const TimeValue before = static_cast<TimeValue>(_time64(nullptr));
    const TimeValue value = CSFunc::s_F_n_GetCurTm();
    EXPECT_EQ(value % 1000, 789U);
    EXPECT_GE(value / 1000, before);
    EXPECT_LE(value / 1000, static_cast<TimeValue>(_time64(nullptr)));
}

// ---- Time values -------------------------------------------------------------------------------

TEST(TimeValueOfUtc, CountsMillisecondsSince1970)
{
    EXPECT_EQ(ValueOf(Time(1970, 1, 1, 0, 0, 0, 123)), 123U);
    EXPECT_EQ(ValueOf(Time(1970, 1, 2, 1, 1, 1, 1)), 90061001U);
    EXPECT_EQ(ValueOf(Time(2000, 2, 29)), 951782400000U);
    EXPECT_EQ(ValueOf(Time(2038, 1, 19, 3, 14, 8)), 2147483648000U);
    EXPECT_EQ(ValueOf(Time(3000, 12, 31, 23, 59, 59, 999)), 32535215999999U);
}

TEST(TimeValueOfUtc, DayOfTheWeekIsIgnored)
{
    for (int weekday = 0; weekday <= 8; ++weekday)
    {
        EXPECT_EQ(ValueOf(WithWeekday(Time(2000, 2, 29), weekday)), 951782400000U);
    }
}

TEST(TimeValueOfUtc, FieldsOutOfRangeCarryOver)
{
    EXPECT_EQ(ValueOf(Time(2024, 13, 1)), ValueOf(Time(2025, 1, 1)));
    EXPECT_EQ(ValueOf(Time(2024, 2, 30)), ValueOf(Time(2024, 3, 1)));
    EXPECT_EQ(ValueOf(Time(2024, 1, 1, 24, 60, 60, 1000)), ValueOf(Time(2024, 1, 2, 1, 1, 1)));
    EXPECT_EQ(ValueOf(Time(2024, 1, 0)), ValueOf(Time(2023, 12, 31)));
}

TEST(TimeValueOfUtc, OfATimeThatHasNoneIsTheRunTimesMinusOneSecond)
{
    constexpr TimeValue kNone = 0ULL - 1000;
    EXPECT_EQ(ValueOf(Time(1969, 12, 31, 23, 59, 58, 7)), kNone + 7);
    EXPECT_EQ(ValueOf(Time(1969, 12, 31)), kNone);
    EXPECT_EQ(ValueOf(Time(1601, 1, 1)), kNone);
    EXPECT_EQ(ValueOf(Time(1600, 12, 31)), kNone);
    EXPECT_EQ(ValueOf(Time(0, 0, 0)), kNone);
    EXPECT_EQ(ValueOf(Time(3001, 1, 2)), kNone);
    EXPECT_EQ(ValueOf(Time(30827, 12, 31, 23, 59, 59, 999)), kNone + 999);
    EXPECT_EQ(ValueOf(Time(65535, 65535, 65535, 65535, 65535, 65535, 65535)), kNone + 65535);
}

__int64 __cdecl MinusOneDay(std::tm*)
{
    return -86400;
}

// Even of a time that has no time value.
TEST(TimeValueOfUtc, IsTheRunTimesResultInMillisecondsWhateverItIs)
{
    const ImportPatch patch("_mkgmtime64", MinusOneDay);
    EXPECT_EQ(ValueOf(Time(1969, 12, 31, 0, 0, 0, 7)), 0ULL - 86400000 + 7);
    // Days and the flag go by times that there are.
    TIME_ZONE_INFORMATION zone = Berlin();
    EXPECT_EQ(DayOf(&zone, Time(2024, 7, 1)).hours, Hours{});
    EXPECT_EQ(ToUtc(&zone, Time(2024, 10, 27, 2, 30), true),
              ToUtc(&zone, Time(2024, 10, 27, 2, 30), false));
}

TEST(UtcOfTimeValue, GivesEveryField)
{
    EXPECT_EQ(UtcOf(123), WithWeekday(Time(1970, 1, 1, 0, 0, 0, 123), 4));
    EXPECT_EQ(UtcOf(951782400000), WithWeekday(Time(2000, 2, 29), 2));
    EXPECT_EQ(UtcOf(2147483648001), WithWeekday(Time(2038, 1, 19, 3, 14, 8, 1), 2));
    EXPECT_EQ(UtcOf(32535215999999), WithWeekday(Time(3000, 12, 31, 23, 59, 59, 999), 3));
}

TEST(UtcOfTimeValue, MillisecondsAndDatesSurviveBothWays)
{
    for (TimeValue value = 0; value < 32535215999999U; value += 40507654321U)
    {
        EXPECT_EQ(ValueOf(UtcOf(value)), value);
    }
}

TEST(UtcOfTimeValue, WithoutCalendarTimeTheFieldsSaySo)
{
    SYSTEMTIME none = Time(1899, 0, 65535, 65535, 65535, 65535, 0);
    none.wDayOfWeek = 65535;
    for (const TimeValue value :
         {TimeValue(32535300000000), 1ULL << 63, ~0ULL, ~0ULL / 1000 * 1000})
    {
        none.wMilliseconds = static_cast<WORD>(value % 1000);
        EXPECT_EQ(UtcOf(value), none) << value;
    }
}

TEST(LocalTimeOfTimeValue, IsThatOfTheZone)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME local = kUntouched;
    CSFunc::s_S_ChangeTimeType(ValueOf(Time(2024, 1, 31, 23, 30, 15, 678)), local, &zone);
    EXPECT_EQ(local, WithWeekday(Time(2024, 2, 1, 0, 30, 15, 678), 4));
    CSFunc::s_S_ChangeTimeType(ValueOf(Time(2024, 7, 1, 12, 0, 0, 1)), local, &zone);
    EXPECT_EQ(local, WithWeekday(Time(2024, 7, 1, 14, 0, 0, 1), 1));
}

TEST(LocalTimeOfTimeValue, WithoutCalendarTimeOnlyTheMillisecondsAreSet)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    for (const TimeValue value : {TimeValue(32535300000123), 1ULL << 63, ~0ULL})
    {
        SYSTEMTIME local = kUntouched;
        SYSTEMTIME expected = kUntouched;
        expected.wMilliseconds = static_cast<WORD>(value % 1000);
        CSFunc::s_S_ChangeTimeType(value, local, &zone);
        EXPECT_EQ(local, expected) << value;
    }
}

// ---- UTC to local time -------------------------------------------------------------------------

TEST(UtcToLocalTime, IsThatOfTheZoneAndMillisecondsSurvive)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME utc = WithWeekday(Time(2024, 7, 1, 22, 15, 16, 987), 1);
    const SYSTEMTIME before = utc;
    SYSTEMTIME local = kUntouched;
    CSFunc::s_S_SystemTimeToLocalTime(&zone, &utc, &local);
    EXPECT_EQ(local, WithWeekday(Time(2024, 7, 2, 0, 15, 16, 987), 2));
    EXPECT_EQ(utc, before);
}

WORD g_milliseconds;

BOOL WINAPI KeepMillisecondsToLocal(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* utc,
                                    SYSTEMTIME* local)
{
    g_milliseconds = utc->wMilliseconds;
    return SystemTimeToTzSpecificLocalTime(zone, utc, local);
}

BOOL WINAPI KeepMillisecondsToUtc(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* local,
                                  SYSTEMTIME* utc)
{
    g_milliseconds = local->wMilliseconds;
    return TzSpecificLocalTimeToSystemTime(zone, local, utc);
}

TEST(UtcToLocalTime, ThePlatformIsGivenWholeSeconds)
{
    const ImportPatch patch("SystemTimeToTzSpecificLocalTime", KeepMillisecondsToLocal);
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME utc = Time(2024, 7, 1, 0, 0, 0, 987);
    SYSTEMTIME local = {};
    g_milliseconds = 1;
    CSFunc::s_S_SystemTimeToLocalTime(&zone, &utc, &local);
    EXPECT_EQ(g_milliseconds, 0);
    g_milliseconds = 1;
    CSFunc::s_S_ChangeTimeType(987, local, &zone);
    EXPECT_EQ(g_milliseconds, 0);
    EXPECT_EQ(local.wMilliseconds, 987);
}

TEST(UtcToLocalTime, WithoutBothRecordsNothingIsDone)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME time = kUntouched;
    CSFunc::s_S_SystemTimeToLocalTime(&zone, nullptr, &time);
    EXPECT_EQ(time, kUntouched);
    CSFunc::s_S_SystemTimeToLocalTime(&zone, &time, nullptr);
    EXPECT_EQ(time, kUntouched);
    CSFunc::s_S_SystemTimeToLocalTime(&zone, nullptr, nullptr);
}

TEST(UtcToLocalTime, OfARefusedDateOnlyTheMillisecondsAreReceived)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME expected = kUntouched;
    expected.wMilliseconds = 5;
    for (SYSTEMTIME utc : {Time(0, 0, 0, 0, 0, 0, 5), Time(2024, 13, 1, 0, 0, 0, 5),
                           Time(2024, 2, 30, 0, 0, 0, 5), Time(65535, 1, 1, 0, 0, 0, 5)})
    {
        const SYSTEMTIME before = utc;
        SYSTEMTIME local = kUntouched;
        CSFunc::s_S_SystemTimeToLocalTime(&zone, &utc, &local);
        EXPECT_EQ(local, expected);
        EXPECT_EQ(utc, before);
    }
}

TEST(UtcToLocalTime, OneRecordMayBeBoth)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME time = Time(2024, 7, 1, 22, 15, 16, 987);
    CSFunc::s_S_SystemTimeToLocalTime(&zone, &time, &time);
    EXPECT_EQ(time, WithWeekday(Time(2024, 7, 2, 0, 15, 16, 987), 2));
}

TEST(UtcToLocalTime, ANullZoneIsTheMachines)
{
    SYSTEMTIME utc = Time(2024, 7, 1, 22, 15, 16, 987);
    SYSTEMTIME expected = {};
    ASSERT_TRUE(SystemTimeToTzSpecificLocalTime(nullptr, &utc, &expected));
    SYSTEMTIME local = kUntouched;
    CSFunc::s_S_SystemTimeToLocalTime(nullptr, &utc, &local);
    EXPECT_EQ(local, expected);
}

// ---- Local time to UTC -------------------------------------------------------------------------

TEST(LocalTimeToUtc, IsThatOfTheZoneAndMillisecondsSurvive)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME local = Time(2024, 7, 2, 0, 15, 16, 987);
    const SYSTEMTIME before = local;
    SYSTEMTIME utc = kUntouched;
    CSFunc::s_S_LocalTimeToSystemTime(&zone, &local, &utc, false);
    EXPECT_EQ(utc, WithWeekday(Time(2024, 7, 1, 22, 15, 16, 987), 1));
    EXPECT_EQ(local, before);
    CSFunc::s_S_LocalTimeToSystemTime(&zone, &local, &utc, true);
    EXPECT_EQ(utc, WithWeekday(Time(2024, 7, 1, 22, 15, 16, 987), 1));
    EXPECT_EQ(local, before);
}

TEST(LocalTimeToUtc, ThePlatformIsGivenWholeSeconds)
{
    const ImportPatch patch("TzSpecificLocalTimeToSystemTime", KeepMillisecondsToUtc);
    TIME_ZONE_INFORMATION zone = Berlin();
    g_milliseconds = 1;
    EXPECT_EQ(ToUtc(&zone, Time(2024, 1, 1, 5, 0, 0, 987), true).wMilliseconds, 987);
    EXPECT_EQ(g_milliseconds, 0);
}

TEST(LocalTimeToUtc, OfTheRepeatedHourTheFlagPicksTheLater)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    for (const int minute : {0, 1, 30, 59})
    {
        const SYSTEMTIME local = Time(2024, 10, 27, 2, minute, 59, 999);
        EXPECT_EQ(ToUtc(&zone, local, false),
                  WithWeekday(Time(2024, 10, 27, 0, minute, 59, 999), 0));
        EXPECT_EQ(ToUtc(&zone, local, true),
                  WithWeekday(Time(2024, 10, 27, 1, minute, 59, 999), 0));
    }
}

TEST(LocalTimeToUtc, TheHoursBesideTheRepeatedOneAreLeftAlone)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    EXPECT_EQ(ToUtc(&zone, Time(2024, 10, 27, 1, 59, 59), true),
              WithWeekday(Time(2024, 10, 26, 23, 59, 59), 6));
    EXPECT_EQ(ToUtc(&zone, Time(2024, 10, 27, 3), true), WithWeekday(Time(2024, 10, 27, 2), 0));
}

TEST(LocalTimeToUtc, WithoutDaylightBiasTheFlagChangesNothing)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    zone.DaylightBias = 0;
    TIME_ZONE_INFORMATION plain = WithoutDaylightSaving(-330);
    for (int hour = 0; hour < 24; ++hour)
    {
        const SYSTEMTIME local = Time(2024, 10, 27, hour, 30);
        EXPECT_EQ(ToUtc(&zone, local, true), ToUtc(&zone, local, false));
        EXPECT_EQ(ToUtc(&plain, local, true), ToUtc(&plain, local, false));
    }
}

// On purpose: only the hour number is compared. Here 1:30 to 1:59 occurs twice.
TEST(LocalTimeToUtc, WhereClocksChangeByHalfAnHourTheFlagMovesTheHalfHourBefore)
{
    TIME_ZONE_INFORMATION zone = WithoutDaylightSaving(-630);
    zone.DaylightBias = -30;
    zone.DaylightDate = LastSunday(3, 2);
    zone.StandardDate = LastSunday(10, 2);
    for (int minute = 0; minute < 60; ++minute)
    {
        const SYSTEMTIME local = Time(2024, 10, 27, 1, minute);
        EXPECT_EQ(ToUtc(&zone, local, false), WithWeekday(Time(2024, 10, 26, 14, minute), 6));
        EXPECT_EQ(ToUtc(&zone, local, true),
                  WithWeekday(Time(2024, 10, 26, minute < 30 ? 15 : 14, minute), 6));
    }
}

TEST(LocalTimeToUtc, AMissingLocalTimeIsWhatThePlatformMakesOfIt)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    for (int minute = 0; minute < 60; ++minute)
    {
        const SYSTEMTIME local = Time(2024, 3, 31, 2, minute);
        SYSTEMTIME expected = {};
        ASSERT_TRUE(TzSpecificLocalTimeToSystemTime(&zone, &local, &expected));
        EXPECT_EQ(ToUtc(&zone, local, false), expected);
    }
}

TEST(LocalTimeToUtc, WithoutBothRecordsNothingIsDone)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME time = kUntouched;
    CSFunc::s_S_LocalTimeToSystemTime(&zone, nullptr, &time, true);
    EXPECT_EQ(time, kUntouched);
    CSFunc::s_S_LocalTimeToSystemTime(&zone, &time, nullptr, true);
    EXPECT_EQ(time, kUntouched);
    CSFunc::s_S_LocalTimeToSystemTime(&zone, nullptr, nullptr, true);
}

TEST(LocalTimeToUtc, OfARefusedDateOnlyTheMillisecondsAreReceived)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME expected = kUntouched;
    expected.wMilliseconds = 5;
    for (const SYSTEMTIME& local :
         {Time(0, 0, 0, 0, 0, 0, 5), Time(2024, 13, 1, 0, 0, 0, 5), Time(2024, 2, 30, 0, 0, 0, 5),
          Time(1601, 1, 1, 0, 0, 0, 5), Time(65535, 1, 1, 0, 0, 0, 5)})
    {
        EXPECT_EQ(ToUtc(&zone, local, false), expected);
        EXPECT_EQ(ToUtc(&zone, local, true), expected);
    }
}

TEST(LocalTimeToUtc, OutsideTheYearsOfTimeValuesTheFlagChangesNothing)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    for (int hour = 0; hour < 24; ++hour)
    {
        for (const SYSTEMTIME& day : {Time(1969, 12, 31), Time(1970, 1, 1), Time(1900, 6, 1),
                                      Time(3001, 1, 5), Time(9000, 10, 31), Time(30827, 12, 30)})
        {
            SYSTEMTIME local = day;
            local.wHour = static_cast<WORD>(hour);
            EXPECT_EQ(ToUtc(&zone, local, true), ToUtc(&zone, local, false));
        }
    }
}

TEST(LocalTimeToUtc, OneRecordMayBeBoth)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME time = Time(2024, 10, 27, 2, 30, 0, 987);
    CSFunc::s_S_LocalTimeToSystemTime(&zone, &time, &time, true);
    EXPECT_EQ(time, WithWeekday(Time(2024, 10, 27, 1, 30, 0, 987), 0));
}

TEST(LocalTimeToUtc, ANullZoneIsTheMachinesAndTheFlagChangesNothing)
{
    const SYSTEMTIME local = Time(2024, 7, 1, 22, 15, 16, 0);
    SYSTEMTIME expected = {};
    ASSERT_TRUE(TzSpecificLocalTimeToSystemTime(nullptr, &local, &expected));
    EXPECT_EQ(ToUtc(nullptr, local, false), expected);
    EXPECT_EQ(ToUtc(nullptr, local, true), expected);
}

// ---- The hours of a day ------------------------------------------------------------------------

TEST(DayHours, AUsualDayHas24)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    const Day day = DayOf(&zone, Time(2024, 7, 1));
    EXPECT_EQ(day.hours, HoursFrom0To23());
    EXPECT_EQ(day.start, ValueOf(Time(2024, 6, 30, 22)));
    EXPECT_EQ(day.end, day.start + 24 * kHour);
}

TEST(DayHours, TheDayOnWhichClocksGoForwardHas23)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    const Day day = DayOf(&zone, Time(2024, 3, 31));
    Hours expected = HoursFrom0To23();
    expected.erase(expected.begin() + 2);
    EXPECT_EQ(day.hours, expected);
    EXPECT_EQ(day.start, ValueOf(Time(2024, 3, 30, 23)));
    EXPECT_EQ(day.end, day.start + 23 * kHour);
}

TEST(DayHours, TheDayOnWhichClocksGoBackHas25AndNoEnd)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    const Day day = DayOf(&zone, Time(2024, 10, 27));
    Hours expected = HoursFrom0To23();
    expected.insert(expected.begin() + 2, 2);
    EXPECT_EQ(day.hours, expected);
    EXPECT_EQ(day.start, ValueOf(Time(2024, 10, 26, 22)));
    EXPECT_EQ(day.end, 0U);
}

TEST(DayHours, TheTimeOfDayIsSetToMidnightForTheCallerToo)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME date = WithWeekday(Time(2024, 7, 1, 13, 14, 15, 16), 3);
    TimeValue start = 0;
    CSFunc::s_S_CalDayHours(&zone, &date, nullptr, &start, nullptr);
    EXPECT_EQ(date, WithWeekday(Time(2024, 7, 1), 3));
    EXPECT_EQ(start, ValueOf(Time(2024, 6, 30, 22)));
}

TEST(DayHours, HoursAreAppended)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME date = Time(2024, 7, 1);
    CUIntArray hours;
    hours.Add(99);
    CSFunc::s_S_CalDayHours(&zone, &date, &hours, nullptr, nullptr);
    ASSERT_EQ(hours.GetSize(), 25);
    EXPECT_EQ(hours[0], 99U);
    EXPECT_EQ(hours[1], 0U);
    EXPECT_EQ(hours[24], 23U);
}

TEST(DayHours, NothingNeedBeAskedFor)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    SYSTEMTIME date = Time(2024, 7, 1);
    CSFunc::s_S_CalDayHours(&zone, &date, nullptr, nullptr, nullptr);
    TimeValue start = 1;
    TimeValue end = 1;
    CSFunc::s_S_CalDayHours(&zone, nullptr, nullptr, &start, &end);
    EXPECT_EQ(start, 0U);
    EXPECT_EQ(end, 0U);
}

TEST(DayHours, AZoneWithoutDaylightSavingHas24OnEveryDay)
{
    TIME_ZONE_INFORMATION zone = WithoutDaylightSaving(-345);
    for (int month = 1; month <= 12; ++month)
    {
        for (const int date : {1, 28})
        {
            const Day day = DayOf(&zone, Time(2024, month, date));
            EXPECT_EQ(day.hours, HoursFrom0To23());
            EXPECT_EQ(day.start, ValueOf(Time(2024, month, date)) - 345 * 60000);
            EXPECT_EQ(day.end, day.start + 24 * kHour);
        }
    }
}

TEST(DayHours, TheFirstDayOfTimeValuesBeginsAt0)
{
    TIME_ZONE_INFORMATION zone = WithoutDaylightSaving(0);
    const Day day = DayOf(&zone, Time(1970, 1, 1));
    EXPECT_EQ(day.hours, HoursFrom0To23());
    EXPECT_EQ(day.start, 0U);
    EXPECT_EQ(day.end, 24 * kHour);
}

TEST(DayHours, ADayThatIsNotThereHasNone)
{
    TIME_ZONE_INFORMATION zone = Berlin();
    for (const SYSTEMTIME& date :
         {Time(0, 0, 0), Time(2024, 13, 1), Time(2024, 2, 30), Time(2023, 2, 29), Time(1600, 1, 1),
          Time(65535, 65535, 65535), Time(1601, 1, 1), Time(1960, 5, 1), Time(1969, 12, 31),
          Time(1970, 1, 1), Time(3005, 1, 1), Time(9999, 12, 31), Time(30827, 12, 31)})
    {
        const Day day = DayOf(&zone, date);
        EXPECT_EQ(day.hours, Hours{}) << date.wYear;
        EXPECT_EQ(day.start, 0U);
        EXPECT_EQ(day.end, 0U);
    }
}

TEST(DayHours, TheLastDayOfTimeValuesIsComplete)
{
    TIME_ZONE_INFORMATION zone = WithoutDaylightSaving(0);
    const Day day = DayOf(&zone, Time(3000, 12, 31));
    EXPECT_EQ(day.hours, HoursFrom0To23());
    EXPECT_EQ(day.start, ValueOf(Time(3000, 12, 31)));
    EXPECT_EQ(day.end, day.start + 24 * kHour);
}

TEST(DayHours, ANullZoneIsTheMachines)
{
    const SYSTEMTIME midnight = Time(2024, 7, 1);
    SYSTEMTIME utc = {};
    ASSERT_TRUE(TzSpecificLocalTimeToSystemTime(nullptr, &midnight, &utc));
    const Day day = DayOf(nullptr, midnight);
    EXPECT_EQ(day.start, ValueOf(utc));
    EXPECT_EQ(day.end, day.start + 24 * kHour);
    EXPECT_EQ(day.hours, HoursFrom0To23());
}

}  // namespace
