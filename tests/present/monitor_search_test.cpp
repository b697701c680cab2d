#include "present/monitor_search.h"

#include <gtest/gtest.h>

#include <climits>
#include <vector>

namespace
{

using ostrel::present::Edges;
using ostrel::present::FindMonitorOf;
using ostrel::present::HoldsCorner;

const Edges kPrimary = {0, 0, 1920, 1080};
const Edges kLeft = {-1280, 56, 0, 1080};
const Edges kAbove = {300, -1024, 1580, 0};
const Edges kRight = {1920, 0, 3840, 1080};

// Monitors by number, and how many were asked for.
class Desktop
{
public:
    explicit Desktop(std::vector<std::optional<Edges>> monitors) : m_monitors(std::move(monitors))
    {
    }

    std::optional<Edges> Find(const Edges& window)
    {
        asked.clear();
        return FindMonitorOf(window,
                             [this](unsigned long number) -> std::optional<Edges>
                             {
                                 asked.push_back(number);
                                 return number < m_monitors.size() ? m_monitors[number]
                                                                   : std::nullopt;
                             });
    }

    std::vector<unsigned long> asked;

private:
    std::vector<std::optional<Edges>> m_monitors;
};

using Numbers = std::vector<unsigned long>;

void ExpectFound(const std::optional<Edges>& found, const Edges& expected)
{
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->left, expected.left);
    EXPECT_EQ(found->top, expected.top);
    EXPECT_EQ(found->right, expected.right);
    EXPECT_EQ(found->bottom, expected.bottom);
}

TEST(MonitorSearch, FindsTheMonitorThatHoldsTheWholeWindow)
{
    Desktop desktop({kPrimary, kLeft, kAbove, kRight});
    ExpectFound(desktop.Find({100, 100, 400, 300}), kPrimary);
    EXPECT_EQ(desktop.asked, (Numbers{0}));
    ExpectFound(desktop.Find({-1000, 100, -400, 300}), kLeft);
    EXPECT_EQ(desktop.asked, (Numbers{0, 1}));
    ExpectFound(desktop.Find({400, -900, 700, -300}), kAbove);
    ExpectFound(desktop.Find({2000, 100, 2400, 300}), kRight);
    EXPECT_EQ(desktop.asked, (Numbers{0, 1, 2, 3}));
}

// Each window has just one corner on the monitor.
TEST(MonitorSearch, FindsAMonitorByAnyOfTheFourCorners)
{
    Desktop desktop({kPrimary});
    ExpectFound(desktop.Find({1900, 1060, 2000, 1160}), kPrimary);  // top left
    ExpectFound(desktop.Find({1900, -80, 2000, 20}), kPrimary);     // bottom left
    ExpectFound(desktop.Find({-80, 1060, 20, 1160}), kPrimary);     // top right
    ExpectFound(desktop.Find({-80, -80, 20, 20}), kPrimary);        // bottom right
}

TEST(MonitorSearch, PrefersTheFirstMonitorInOrderNotTheFirstCornerNorTheLargestPart)
{
    const Edges straddling = {-500, 200, 30, 600};  // nearly all of it on the left monitor
    ExpectFound(Desktop({kPrimary, kLeft}).Find(straddling), kPrimary);
    ExpectFound(Desktop({kLeft, kPrimary}).Find(straddling), kLeft);
    // Top left on the left monitor, bottom right on the primary one.
    const Edges diagonal = {-10, 60, 10, 90};
    ExpectFound(Desktop({kPrimary, kLeft}).Find(diagonal), kPrimary);
    ExpectFound(Desktop({kLeft, kPrimary}).Find(diagonal), kLeft);
}

TEST(MonitorSearch, MovesEachEdgeOfTheWindowInByAPixel)
{
    // A maximised window reaches over its monitor by its frame; by one pixel it still lies there.
    EXPECT_TRUE(HoldsCorner(kPrimary, {-1, -1, 1921, 1081}));
    EXPECT_FALSE(HoldsCorner(kPrimary, {-2, -2, 1922, 1082}));
    EXPECT_TRUE(HoldsCorner(kPrimary, {-1, -1, 5000, 5000}));
    EXPECT_FALSE(HoldsCorner(kPrimary, {-2, -1, 5000, 5000}));
    EXPECT_FALSE(HoldsCorner(kPrimary, {-1, -2, 5000, 5000}));
    EXPECT_TRUE(HoldsCorner(kPrimary, {-5000, -5000, 1920, 1080}));
    EXPECT_FALSE(HoldsCorner(kPrimary, {-5000, -5000, 1921, 1080}));
    EXPECT_FALSE(HoldsCorner(kPrimary, {-5000, -5000, 1920, 1081}));
    EXPECT_TRUE(HoldsCorner(kPrimary, {-5000, -5000, 1, 1}));
    EXPECT_FALSE(HoldsCorner(kPrimary, {-5000, -5000, 0, 1}));
    EXPECT_FALSE(HoldsCorner(kPrimary, {-5000, -5000, 1, 0}));
}

TEST(MonitorSearch, CountsTheRightAndBottomEdgeOfAMonitorAsOutside)
{
    EXPECT_TRUE(HoldsCorner(kPrimary, {1918, 1078, 5000, 5000}));
    EXPECT_FALSE(HoldsCorner(kPrimary, {1919, 1078, 5000, 5000}));
    EXPECT_FALSE(HoldsCorner(kPrimary, {1918, 1079, 5000, 5000}));
}

TEST(MonitorSearch, DoesNotFindAMonitorThatTheWindowCoversWithAllCornersOutside)
{
    Desktop desktop({kPrimary});
    EXPECT_FALSE(desktop.Find({-100, -100, 2020, 1180}).has_value());
    EXPECT_EQ(desktop.asked, (Numbers{0, 1}));
}

TEST(MonitorSearch, FindsNothingForAWindowOnNoMonitor)
{
    Desktop desktop({kPrimary, kLeft, kRight});
    EXPECT_FALSE(desktop.Find({0, 5000, 100, 5100}).has_value());
    EXPECT_EQ(desktop.asked, (Numbers{0, 1, 2, 3}));
    EXPECT_FALSE(Desktop({}).Find({0, 0, 100, 100}).has_value());
}

TEST(MonitorSearch, EndsAtTheFirstMonitorThatCannotBeRead)
{
    Desktop desktop({kPrimary, std::nullopt, kRight});
    EXPECT_FALSE(desktop.Find({2000, 100, 2400, 300}).has_value());
    EXPECT_EQ(desktop.asked, (Numbers{0, 1}));
    ExpectFound(desktop.Find({100, 100, 400, 300}), kPrimary);
}

TEST(MonitorSearch, TakesAWindowWithoutSizeByTheCornersAroundIt)
{
    EXPECT_TRUE(HoldsCorner(kPrimary, {100, 100, 100, 100}));
    EXPECT_TRUE(HoldsCorner(kPrimary, {-1, -1, -1, -1}));
    EXPECT_FALSE(HoldsCorner(kPrimary, {-2, -2, -2, -2}));
}

// The sanitizers of this build watch the arithmetic.
TEST(MonitorSearch, IsDefinedAtTheEndsOf32Bits)
{
    const Edges everything = {INT_MIN, INT_MIN, INT_MAX, INT_MAX};
    EXPECT_TRUE(HoldsCorner(everything, everything));
    EXPECT_FALSE(HoldsCorner(kPrimary, everything));
    EXPECT_FALSE(HoldsCorner(kPrimary, {INT_MAX, INT_MAX, INT_MIN, INT_MIN}));
}

}  // namespace
