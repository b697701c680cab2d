// Conversions of real zones' times, beside what the zone database of another system says. Run by
// time_zone_system_test.py, which writes the file that is read here.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "CSFunc.h"

namespace
{

using TimeValue = unsigned __int64;

struct UtcSample
{
    TimeValue utc;
    SYSTEMTIME local;
};

struct LocalSample
{
    SYSTEMTIME local;
    TimeValue isMissing;
    TimeValue utc;       // of the first, where there are two
    TimeValue utcLater;  // what the flag makes of it; of a missing time, the other reading
};

struct DaySample
{
    SYSTEMTIME date;
    TimeValue start;
    TimeValue end;
    TimeValue count;
    unsigned char hours[32];
};

struct ZoneHeader
{
    char name[64];
    int bias;
    int daylightBias;
    SYSTEMTIME daylightDate;
    SYSTEMTIME standardDate;
    unsigned int counts[3];
};

static_assert(sizeof(UtcSample) == 24 && sizeof(LocalSample) == 40 && sizeof(DaySample) == 72);
static_assert(sizeof(ZoneHeader) == 116);

struct ZoneYear
{
    std::string name;
    TIME_ZONE_INFORMATION zone = {};
    std::vector<UtcSample> utcSamples;
    std::vector<LocalSample> localSamples;
    std::vector<DaySample> days;
};

class Reader
{
public:
    explicit Reader(const char* path) : vm_file(path, std::ios::binary)
    {
        EXPECT_TRUE(vm_file) << path;
    }

    template <class Record>
    bool Read(Record* records, size_t count)
    {
        return !!vm_file.read(reinterpret_cast<char*>(records),
                              static_cast<std::streamsize>(count * sizeof(Record)));
    }

    template <class Record>
    std::vector<Record> ReadAll(size_t count)
    {
        std::vector<Record> records(count);
        EXPECT_TRUE(Read(records.data(), count));
        return records;
    }

private:
    std::ifstream vm_file;
};

std::vector<ZoneYear> ReadZones()
{
    const char* const path = std::getenv("OSTREL_ZONES");
    Reader reader(path == nullptr ? "OSTREL_ZONES is not set" : path);
    std::vector<ZoneYear> years;
    ZoneHeader header = {};
    while (reader.Read(&header, 1))
    {
        ZoneYear year;
        year.name = header.name;
        year.zone.Bias = header.bias;
        year.zone.DaylightBias = header.daylightBias;
        year.zone.DaylightDate = header.daylightDate;
        year.zone.StandardDate = header.standardDate;
        year.utcSamples = reader.ReadAll<UtcSample>(header.counts[0]);
        year.localSamples = reader.ReadAll<LocalSample>(header.counts[1]);
        year.days = reader.ReadAll<DaySample>(header.counts[2]);
        years.push_back(std::move(year));
    }
    return years;
}

std::vector<ZoneYear>& Zones()
{
    static std::vector<ZoneYear> zones = ReadZones();
    return zones;
}

std::string Text(const SYSTEMTIME& time)
{
    std::ostringstream text;
    text << time.wYear << '-' << time.wMonth << '-' << time.wDay << ' ' << time.wHour << ':'
         << time.wMinute << ':' << time.wSecond << '.' << time.wMilliseconds << '/'
         << time.wDayOfWeek;
    return text.str();
}

bool IsSame(const SYSTEMTIME& a, const SYSTEMTIME& b)
{
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

SYSTEMTIME UtcOf(TimeValue value)
{
    SYSTEMTIME utc = {};
    CSFunc::s_S_ChangeTimeType(value, utc, nullptr);
    return utc;
}

TimeValue ValueOf(const SYSTEMTIME& utc)
{
    TimeValue value = 0;
    CSFunc::s_S_ChangeTimeType(utc, value);
    return value;
}

// Names the first differences of a zone, and counts the others.
class Differences
{
public:
    explicit Differences(const ZoneYear& year) : vm_year(year) {}
    ~Differences() { EXPECT_EQ(vm_nCount, 0) << vm_year.name << vm_text.str(); }

    void Expect(bool isSame, const std::string& what)
    {
        if (!isSame && ++vm_nCount <= 5)
        {
            vm_text << "\n  " << what;
        }
    }

private:
    const ZoneYear& vm_year;
    int vm_nCount = 0;
    std::ostringstream vm_text;
};

TEST(TimeZones, AreThere)
{
    EXPECT_EQ(Zones().size(), 21U * 3 + 4);
    for (const ZoneYear& year : Zones())
    {
        EXPECT_GE(year.utcSamples.size(), 8740U) << year.name;
        EXPECT_GE(year.localSamples.size(), 8760U) << year.name;
        EXPECT_GE(year.days.size(), 364U) << year.name;
    }
}

TEST(TimeZones, EveryHourOfTheYearHasItsLocalTime)
{
    for (ZoneYear& year : Zones())
    {
        Differences differences(year);
        for (const UtcSample& sample : year.utcSamples)
        {
            SYSTEMTIME expected = sample.local;
            expected.wMilliseconds = static_cast<WORD>(sample.utc / 60000 % 1000);
            SYSTEMTIME utc = UtcOf(sample.utc + expected.wMilliseconds);
            SYSTEMTIME local = {};
            CSFunc::s_S_SystemTimeToLocalTime(&year.zone, &utc, &local);
            differences.Expect(IsSame(local, expected),
                               Text(utc) + " gives " + Text(local) + " not " + Text(expected));
            SYSTEMTIME direct = {};
            CSFunc::s_S_ChangeTimeType(sample.utc + expected.wMilliseconds, direct, &year.zone);
            differences.Expect(IsSame(direct, expected), Text(direct) + " not " + Text(expected));
        }
    }
}

TEST(TimeZones, EveryLocalTimeOfTheYearHasItsUtcAndTheFlagPicksTheLaterOfTwo)
{
    for (ZoneYear& year : Zones())
    {
        Differences differences(year);
        for (const LocalSample& sample : year.localSamples)
        {
            if (sample.isMissing != 0)
            {
                continue;
            }
            SYSTEMTIME local = sample.local;
            SYSTEMTIME utc = {};
            CSFunc::s_S_LocalTimeToSystemTime(&year.zone, &local, &utc, false);
            differences.Expect(
                IsSame(utc, UtcOf(sample.utc)),
                Text(local) + " gives " + Text(utc) + " not " + Text(UtcOf(sample.utc)));
            CSFunc::s_S_LocalTimeToSystemTime(&year.zone, &local, &utc, true);
            differences.Expect(IsSame(utc, UtcOf(sample.utcLater)),
                               Text(local) + " gives, later, " + Text(utc) + " not " +
                                   Text(UtcOf(sample.utcLater)));
        }
    }
}

TEST(TimeZones, AMissingLocalTimeIsReadByThePlatformAsOneOfTheTwoOffsetsHasIt)
{
    int count = 0;
    for (ZoneYear& year : Zones())
    {
        Differences differences(year);
        for (const LocalSample& sample : year.localSamples)
        {
            if (sample.isMissing == 0)
            {
                continue;
            }
            ++count;
            SYSTEMTIME local = sample.local;
            SYSTEMTIME utc = {};
            SYSTEMTIME platform = {};
            CSFunc::s_S_LocalTimeToSystemTime(&year.zone, &local, &utc, false);
            EXPECT_TRUE(TzSpecificLocalTimeToSystemTime(&year.zone, &sample.local, &platform));
            differences.Expect(
                IsSame(utc, platform),
                Text(local) + " gives " + Text(utc) + " and not the platform's " + Text(platform));
            const TimeValue value = ValueOf(utc);
            differences.Expect(value == sample.utc || value == sample.utcLater,
                               Text(local) + " gives " + Text(utc));
        }
    }
    EXPECT_GE(count, 16 * 3 * 3);
}

// On Windows a rule holds to the millisecond, under Wine 8 to the minute; either is the platform's.
TEST(TimeZones, ARuleInTheLastMillisecondOfADayHoldsAsThePlatformHasIt)
{
    int count = 0;
    for (ZoneYear& year : Zones())
    {
        for (const SYSTEMTIME* const rule : {&year.zone.DaylightDate, &year.zone.StandardDate})
        {
            if (rule->wMilliseconds != 999)
            {
                continue;
            }
            ++count;
            Differences differences(year);
            for (int second = 0; second < 40 * 86400; second += second % 60 == 59 ? 1 : 59)
            {
                SYSTEMTIME date = {2020, rule->wMonth, 0, 1, 0, 0, 0, 0};
                const TimeValue value = ValueOf(date) + static_cast<TimeValue>(second) * 1000;
                SYSTEMTIME utc = UtcOf(value);
                SYSTEMTIME local = {};
                SYSTEMTIME platform = {};
                CSFunc::s_S_SystemTimeToLocalTime(&year.zone, &utc, &local);
                EXPECT_TRUE(SystemTimeToTzSpecificLocalTime(&year.zone, &utc, &platform));
                differences.Expect(IsSame(local, platform), Text(utc) + " gives " + Text(local));
            }
        }
    }
    EXPECT_EQ(count, 7);
}

TEST(TimeZones, EveryDayOfTheYearHasItsHours)
{
    int counts[27] = {};
    for (ZoneYear& year : Zones())
    {
        Differences differences(year);
        for (const DaySample& sample : year.days)
        {
            SYSTEMTIME day = sample.date;
            CUIntArray hours;
            TimeValue start = 0;
            TimeValue end = 0;
            CSFunc::s_S_CalDayHours(&year.zone, &day, &hours, &start, &end);
            bool isSame = static_cast<TimeValue>(hours.GetSize()) == sample.count;
            for (INT_PTR i = 0; isSame && i < hours.GetSize(); ++i)
            {
                isSame = hours[i] == sample.hours[i];
            }
            differences.Expect(isSame, Text(day) + " has " + std::to_string(hours.GetSize()) +
                                           " hours, not " + std::to_string(sample.count));
            differences.Expect(start == sample.start, Text(day) + " begins at " +
                                                          Text(UtcOf(start)) + " not " +
                                                          Text(UtcOf(sample.start)));
            differences.Expect(end == sample.end, Text(day) + " ends at " + Text(UtcOf(end)) +
                                                      " not " + Text(UtcOf(sample.end)));
            ++counts[sample.count];
            // The stated end of a day of 25 hours.
            EXPECT_EQ(sample.end == 0, sample.count == 25);
        }
    }
    EXPECT_GE(counts[23], 14 * 3);
    EXPECT_GE(counts[25], 14 * 3);
    EXPECT_GE(counts[24], 60 * 360);
}

TEST(TimeZones, ANullZoneIsTheMachines)
{
    TIME_ZONE_INFORMATION machine = {};
    ASSERT_NE(GetTimeZoneInformation(&machine), TIME_ZONE_ID_INVALID);
    std::printf("bias of this machine: %ld\n", machine.Bias);
    SYSTEMTIME now = {};
    GetSystemTime(&now);
    SYSTEMTIME newYear = {};
    newYear.wYear = now.wYear;
    newYear.wMonth = 1;
    newYear.wDay = 2;
    for (int hour = 0; hour < 360 * 24; hour += 1)
    {
        SYSTEMTIME utc = UtcOf(ValueOf(newYear) + static_cast<TimeValue>(hour) * 3600000);
        SYSTEMTIME local = {};
        SYSTEMTIME expected = {};
        CSFunc::s_S_SystemTimeToLocalTime(nullptr, &utc, &local);
        CSFunc::s_S_SystemTimeToLocalTime(&machine, &utc, &expected);
        ASSERT_TRUE(IsSame(local, expected)) << Text(utc);
        SYSTEMTIME back = {};
        SYSTEMTIME expectedBack = {};
        CSFunc::s_S_LocalTimeToSystemTime(nullptr, &local, &back, true);
        CSFunc::s_S_LocalTimeToSystemTime(&machine, &local, &expectedBack, false);
        ASSERT_TRUE(IsSame(back, expectedBack)) << Text(local);
        if (hour % 24 == 0)
        {
            CUIntArray hours;
            CUIntArray expectedHours;
            TimeValue start = 0;
            TimeValue expectedStart = 0;
            CSFunc::s_S_CalDayHours(nullptr, &local, &hours, &start, nullptr);
            CSFunc::s_S_CalDayHours(&machine, &local, &expectedHours, &expectedStart, nullptr);
            ASSERT_EQ(start, expectedStart) << Text(local);
            ASSERT_EQ(hours.GetSize(), expectedHours.GetSize()) << Text(local);
        }
    }
}

}  // namespace
