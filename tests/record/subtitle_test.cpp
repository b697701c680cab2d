#include "record/subtitle.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace ostrel::record
{
namespace
{

TEST(SubtitleEntry, CoversTheSecondBeforeItsNumber)
{
    EXPECT_EQ(SubtitleEntry(1, L"one"), L"1\n00:00:00,000-->00:00:00,999\none\n\n");
    EXPECT_EQ(SubtitleEntry(3, L"three"), L"3\n00:00:02,000-->00:00:02,999\nthree\n\n");
}

TEST(SubtitleEntry, CountsMinutesAndHours)
{
    EXPECT_EQ(SubtitleEntry(60, L"x"), L"60\n00:00:59,000-->00:00:59,999\nx\n\n");
    EXPECT_EQ(SubtitleEntry(61, L"x"), L"61\n00:01:00,000-->00:01:00,999\nx\n\n");
    EXPECT_EQ(SubtitleEntry(3600, L"x"), L"3600\n00:59:59,000-->00:59:59,999\nx\n\n");
    EXPECT_EQ(SubtitleEntry(3601, L"x"), L"3601\n01:00:00,000-->01:00:00,999\nx\n\n");
    EXPECT_EQ(SubtitleEntry(45297, L"x"), L"45297\n12:34:56,000-->12:34:56,999\nx\n\n");
}

TEST(SubtitleEntry, LetsHoursGrowPastTwoDigits)
{
    EXPECT_EQ(SubtitleEntry(360001, L"x"), L"360001\n100:00:00,000-->100:00:00,999\nx\n\n");
    EXPECT_EQ(SubtitleEntry(INT_MAX, L"x"),
              L"2147483647\n596523:14:06,000-->596523:14:06,999\nx\n\n");
}

TEST(SubtitleEntry, TakesTheTextAsItIs)
{
    EXPECT_EQ(SubtitleEntry(1, L""), L"1\n00:00:00,000-->00:00:00,999\n\n\n");
    EXPECT_EQ(SubtitleEntry(1, L"100 % %s %n"), L"1\n00:00:00,000-->00:00:00,999\n100 % %s %n\n\n");
    EXPECT_EQ(SubtitleEntry(1, L"a\r\nb"), L"1\n00:00:00,000-->00:00:00,999\na\r\nb\n\n");
    const std::wstring text(100000, L'\u00e4');
    EXPECT_EQ(SubtitleEntry(1, text), L"1\n00:00:00,000-->00:00:00,999\n" + text + L"\n\n");
}

TEST(SubtitleEntry, OfANumberBeforeTheFirstIsDefined)
{
    EXPECT_EQ(SubtitleEntry(INT_MIN, L"x").substr(0, 12), L"-2147483648\n");
}

}  // namespace
}  // namespace ostrel::record
