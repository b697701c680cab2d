#include "sysutil/local_day.h"

#include <gtest/gtest.h>

#include <numeric>
#include <set>

namespace
{

using ostrel::core::TimeValue;
using ostrel::sysutil::kHour;
using ostrel::sysutil::LocalDay;
using ostrel::sysutil::WalkLocalDay;
using Hours = std::vector<unsigned int>;

constexpr TimeValue kMidnight = 1000 * kHour;

// A day whose local hour, counted from midnight, jumps by `shift` hours after `change` hours.
LocalDay DayWithChange(unsigned int change, int shift)
{
    return WalkLocalDay(kMidnight,
                        [&](TimeValue time) -> std::optional<unsigned int>
                        {
                            if (time < kMidnight)
                            {
                                return std::nullopt;
                            }
                            const auto passed = static_cast<int>((time - kMidnight) / kHour);
                            const int hour =
                                passed < static_cast<int>(change) ? passed : passed + shift;
                            return hour < 24 ? std::optional<unsigned int>(hour) : std::nullopt;
                        });
}

Hours HoursFrom0To23()
{
    Hours hours(24);
    std::iota(hours.begin(), hours.end(), 0U);
    return hours;
}

TEST(LocalDay, AUsualDayHas24HoursAndEndsBehindThem)
{
    const LocalDay day = DayWithChange(0, 0);
    EXPECT_EQ(day.hours, HoursFrom0To23());
    EXPECT_EQ(day.start, kMidnight);
    EXPECT_EQ(day.end, kMidnight + 24 * kHour);
}

TEST(LocalDay, ASkippedHourIsMissingAndTheDayEndsAfter23)
{
    const LocalDay day = DayWithChange(2, 1);
    Hours expected = HoursFrom0To23();
    expected.erase(expected.begin() + 2);
    EXPECT_EQ(day.hours, expected);
    EXPECT_EQ(day.start, kMidnight);
    EXPECT_EQ(day.end, kMidnight + 23 * kHour);
}

TEST(LocalDay, ARepeatedHourIsListedTwiceAndTheEndIsNotReached)
{
    const LocalDay day = DayWithChange(3, -1);
    Hours expected = HoursFrom0To23();
    expected.insert(expected.begin() + 3, 2);
    EXPECT_EQ(day.hours, expected);
    EXPECT_EQ(day.start, kMidnight);
    EXPECT_EQ(day.end, 0U);
}

TEST(LocalDay, AnHourBeforeMidnightThatIsInTheDayBeginsIt)
{
    const LocalDay day = WalkLocalDay(
        kMidnight, [](TimeValue time)
        { return time < kMidnight + 3 * kHour ? std::optional<unsigned int>(7) : std::nullopt; });
    EXPECT_EQ(day.hours, (Hours{7, 7, 7, 7}));
    EXPECT_EQ(day.start, kMidnight - kHour);
    EXPECT_EQ(day.end, kMidnight + 3 * kHour);
}

TEST(LocalDay, ADayThatIsNotThereHasNoHours)
{
    int steps = 0;
    const LocalDay day = WalkLocalDay(kMidnight,
                                      [&](TimeValue time)
                                      {
                                          EXPECT_EQ(time, kMidnight - kHour + steps * kHour);
                                          ++steps;
                                          return std::optional<unsigned int>();
                                      });
    EXPECT_EQ(steps, 26);
    EXPECT_TRUE(day.hours.empty());
    EXPECT_EQ(day.start, 0U);
    EXPECT_EQ(day.end, 0U);
}

TEST(LocalDay, TheDayOfTimeValueZeroBeginsAtZero)
{
    std::set<TimeValue> asked;
    const LocalDay day = WalkLocalDay(
        0,
        [&](TimeValue time)
        {
            asked.insert(time);
            const bool isInDay = time < 24 * kHour;
            return isInDay ? std::optional<unsigned int>(static_cast<unsigned>(time / kHour))
                           : std::nullopt;
        });
    EXPECT_EQ(day.hours, HoursFrom0To23());
    EXPECT_EQ(day.start, 0U);
    EXPECT_EQ(day.end, 24 * kHour);
    EXPECT_EQ(asked.count(0 - kHour), 1U);
}

}  // namespace
