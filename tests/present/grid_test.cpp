#include "present/grid.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <vector>

namespace
{

using ostrel::present::Edges;
using ostrel::present::Grid;

std::vector<int> ColumnWidths(const Grid& grid, int columns)
{
    std::vector<int> widths;
    for (int column = 0; column < columns; ++column)
    {
        widths.push_back(Width(grid.Cell(0, column)));
    }
    return widths;
}

std::vector<int> RowHeights(const Grid& grid, int rows)
{
    std::vector<int> heights;
    for (int row = 0; row < rows; ++row)
    {
        heights.push_back(Height(grid.Cell(row, 0)));
    }
    return heights;
}

using Sizes = std::vector<int>;

TEST(Grid, GivesTheLeftOverPixelsToTheFirstColumnsAndRows)
{
    const Grid large(3, 3, {0, 0, 1000, 700});
    EXPECT_EQ(ColumnWidths(large, 3), (Sizes{334, 333, 333}));
    EXPECT_EQ(RowHeights(large, 3), (Sizes{234, 233, 233}));
    const Grid small(3, 3, {0, 0, 10, 10});
    EXPECT_EQ(ColumnWidths(small, 3), (Sizes{4, 3, 3}));
    EXPECT_EQ(RowHeights(small, 3), (Sizes{4, 3, 3}));
    const Grid two(4, 5, {0, 0, 17, 11});
    EXPECT_EQ(ColumnWidths(two, 5), (Sizes{4, 4, 3, 3, 3}));
    EXPECT_EQ(RowHeights(two, 4), (Sizes{3, 3, 3, 2}));
}

TEST(Grid, StartsAtTheAreasCornerAlsoLeftOfAndAboveTheOrigin)
{
    const Edges cell = Grid(2, 2, {-100, -50, 1, 51}).Cell(1, 1);
    EXPECT_EQ(cell.left, -49);
    EXPECT_EQ(cell.top, 1);
    EXPECT_EQ(cell.right, 1);
    EXPECT_EQ(cell.bottom, 51);
}

TEST(Grid, GivesMoreColumnsThanPixelsAPixelEachAndTheRestNone)
{
    EXPECT_EQ(ColumnWidths(Grid(1, 5, {0, 0, 3, 1}), 5), (Sizes{1, 1, 1, 0, 0}));
}

// The stated arithmetic, spelt out cell by cell.
void ExpectAsStated(int rows, int columns, const Edges& area)
{
    const Grid grid(rows, columns, area);
    const int width = area.right - area.left;
    const int height = area.bottom - area.top;
    int top = area.top;
    for (int row = 0; row < rows; ++row)
    {
        const int bottom = top + height / rows + (row < height % rows ? 1 : 0);
        int left = area.left;
        for (int column = 0; column < columns; ++column)
        {
            const int right = left + width / columns + (column < width % columns ? 1 : 0);
            const Edges cell = grid.Cell(row, column);
            ASSERT_EQ(cell.left, left);
            ASSERT_EQ(cell.top, top);
            ASSERT_EQ(cell.right, right);
            ASSERT_EQ(cell.bottom, bottom);
            left = right;
        }
        ASSERT_EQ(left, area.right);
        top = bottom;
    }
    if (height >= 0)
    {
        ASSERT_EQ(top, area.bottom);
    }
}

// Every pixel of the area lies in exactly one cell, and nothing else does.
void ExpectTiles(int rows, int columns, const Edges& area)
{
    const Grid grid(rows, columns, area);
    const int width = Width(area);
    const int height = Height(area);
    std::vector<int> covered(static_cast<std::size_t>(width * height), 0);
    for (int row = 0; row < rows; ++row)
    {
        for (int column = 0; column < columns; ++column)
        {
            const Edges cell = grid.Cell(row, column);
            ASSERT_GE(cell.left, area.left);
            ASSERT_GE(cell.top, area.top);
            ASSERT_LE(cell.right, area.right);
            ASSERT_LE(cell.bottom, area.bottom);
            for (int y = cell.top - area.top; y < cell.bottom - area.top; ++y)
            {
                for (int x = cell.left - area.left; x < cell.right - area.left; ++x)
                {
                    ++covered[static_cast<std::size_t>(y * width + x)];
                }
            }
        }
    }
    for (const int times : covered)
    {
        ASSERT_EQ(times, 1);
    }
}

constexpr int kMostRows = 16;
constexpr int kMostColumns = 16;

template <typename Check>
void ForEveryGrid(Check check)
{
    for (int rows = 1; rows <= kMostRows; ++rows)
    {
        for (int columns = 1; columns <= kMostColumns; ++columns)
        {
            SCOPED_TRACE(testing::Message() << rows << " x " << columns);
            check(rows, columns);
        }
    }
}

TEST(Grid, CoversEveryPixelOfTheAreaOnce)
{
    ForEveryGrid(
        [](int rows, int columns)
        {
            for (const Edges& area : {Edges{0, 0, 1, 1}, Edges{0, 0, 16, 16}, Edges{3, 5, 40, 36},
                                      Edges{-20, -31, 17, 16}, Edges{-50, 7, -20, 12}})
            {
                ExpectTiles(rows, columns, area);
            }
        });
}

TEST(Grid, IsAsStatedForAreasOfEverySizeAndPlace)
{
    ForEveryGrid(
        [](int rows, int columns)
        {
            for (int width = 1; width <= 40; ++width)
            {
                for (const int height : {0, 1, 2, 3, 7, 15, 16, 17, 31, 100, 1080})
                {
                    for (const int left : {-1920, -1, 0, 5, 100000})
                    {
                        ExpectAsStated(rows, columns, {left, -left, left + width, height - left});
                    }
                }
            }
            for (const int width : {640, 1000, 1279, 1920, 3840, 5761})
            {
                ExpectAsStated(rows, columns, {-width / 2, 9, width - width / 2, 9 + width / 3});
            }
        });
}

TEST(Grid, DiffersByAPixelAtMostAndNeverGrows)
{
    ForEveryGrid(
        [](int rows, int columns)
        {
            const Grid grid(rows, columns, {-7, -9, 1013, 770});
            const Sizes sizes[] = {ColumnWidths(grid, columns), RowHeights(grid, rows)};
            for (const Sizes& each : sizes)
            {
                for (std::size_t i = 1; i < each.size(); ++i)
                {
                    EXPECT_LE(each[i], each[i - 1]);
                }
                EXPECT_LE(each.front() - each.back(), 1);
            }
        });
}

// A negative height is cut towards zero, and what is left over of it goes to no row.
TEST(Grid, OfAnAreaUpsideDownHasRowsUpsideDown)
{
    EXPECT_EQ(RowHeights(Grid(3, 1, {0, 10, 5, 0}), 3), (Sizes{-3, -3, -3}));
    EXPECT_EQ(RowHeights(Grid(3, 1, {0, 2, 5, 0}), 3), (Sizes{0, 0, 0}));
    ForEveryGrid([](int rows, int columns) { ExpectAsStated(rows, columns, {-3, 50, 60, -57}); });
}

TEST(Grid, IsImpossibleWithoutWidthRowsOrColumns)
{
    const Edges area = {0, 0, 10, 10};
    EXPECT_TRUE(Grid::IsPossible(1, 1, area));
    EXPECT_TRUE(Grid::IsPossible(1, 1, {5, 5, 6, 5}));
    EXPECT_TRUE(Grid::IsPossible(1, 1, {5, 5, 6, -5}));
    for (const int none : {0, -1, INT_MIN})
    {
        EXPECT_FALSE(Grid::IsPossible(none, 1, area));
        EXPECT_FALSE(Grid::IsPossible(1, none, area));
    }
    EXPECT_FALSE(Grid::IsPossible(1, 1, {5, 5, 5, 15}));
    EXPECT_FALSE(Grid::IsPossible(1, 1, {5, 5, 4, 15}));
    // Wider than 32 bits can say, which reads as a negative width.
    EXPECT_FALSE(Grid::IsPossible(1, 1, {INT_MIN, 0, INT_MAX, 1}));
}

// The sanitizers of this build watch the arithmetic.
TEST(Grid, IsDefinedAtTheEndsOf32Bits)
{
    const int values[] = {INT_MIN, INT_MIN + 1, -1, 0, 1, INT_MAX - 1, INT_MAX};
    int laid = 0;
    for (const int left : values)
    {
        for (const int right : values)
        {
            for (const int top : values)
            {
                for (const int bottom : values)
                {
                    for (const int parts : {1, 2, 1000, INT_MAX})
                    {
                        const Edges area = {left, top, right, bottom};
                        if (!Grid::IsPossible(parts, parts, area))
                        {
                            continue;
                        }
                        const Grid grid(parts, parts, area);
                        const Edges first = grid.Cell(0, 0);
                        EXPECT_EQ(first.left, left);
                        EXPECT_EQ(first.top, top);
                        const Edges last = grid.Cell(parts - 1, parts - 1);
                        EXPECT_EQ(last.right, right);
                        if (std::int64_t{bottom} - top >= 0 &&
                            std::int64_t{bottom} - top <= INT_MAX)
                        {
                            EXPECT_EQ(last.bottom, bottom);
                        }
                        ++laid;
                    }
                }
            }
        }
    }
    EXPECT_GT(laid, 1000);
}

}  // namespace
