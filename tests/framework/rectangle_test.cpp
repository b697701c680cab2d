#include <atltypes.h>
#include <gtest/gtest.h>

namespace
{

CRect Changed(CRect rect, void (*change)(CRect&))
{
    change(rect);
    return rect;
}

bool Same(const CRect& a, const CRect& b)
{
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

#define EXPECT_RECT(actual, ...) EXPECT_PRED2(Same, (actual), CRect(__VA_ARGS__))

TEST(Point, IsConstructedFromCoordinatesAndPlatformTypes)
{
    EXPECT_TRUE(CPoint() == CPoint(0, 0));
    EXPECT_TRUE(CPoint(POINT{3, -4}) == CPoint(3, -4));
    EXPECT_TRUE(CPoint(SIZE{3, -4}) == CPoint(3, -4));
    EXPECT_TRUE(CPoint(LPARAM{MAKELPARAM(25, 5)}) == CPoint(25, 5));
    EXPECT_TRUE(CPoint(3, 4) != CPoint(4, 3));
}

TEST(Point, APackedPointIsSigned)
{
    EXPECT_TRUE(CPoint(LPARAM{MAKELPARAM(static_cast<WORD>(-2), 7)}) == CPoint(-2, 7));
}

TEST(Point, MovesByPointAndSize)
{
    CPoint point(100, 100);
    point.Offset(35, 36);
    EXPECT_TRUE(point == CPoint(135, 136));
    point += CSize(1, 2);
    point -= CPoint(100, 100);
    EXPECT_TRUE(point == CPoint(36, 38));
    point.SetPoint(9, 8);
    EXPECT_TRUE(-point == CPoint(-9, -8));
}

TEST(Point, TheDifferenceOfTwoPointsIsASize)
{
    const CSize difference = CPoint(100, 90) - CPoint(30, 40);
    EXPECT_TRUE(difference == CSize(70, 50));
    EXPECT_TRUE(CPoint(1, 2) + CSize(3, 4) == CPoint(4, 6));
    EXPECT_TRUE(CPoint(1, 2) - CSize(3, 4) == CPoint(-2, -2));
}

TEST(Size, AddsSubtractsAndNegates)
{
    CSize size(10, 20);
    size += CSize(1, 2);
    size -= CSize(5, 5);
    EXPECT_TRUE(size == CSize(6, 17));
    EXPECT_TRUE(size + CSize(1, 1) == CSize(7, 18));
    EXPECT_TRUE(size - CSize(1, 1) == CSize(5, 16));
    EXPECT_TRUE(-size == CSize(-6, -17));
    EXPECT_TRUE(size != CSize(17, 6));
}

TEST(Size, MovesPointsAndRectangles)
{
    const RECT rect = {0, 0, 10, 20};
    const POINT point = {5, 5};
    EXPECT_TRUE(CSize(1, 2) + point == CPoint(6, 7));
    EXPECT_TRUE(CSize(1, 2) - point == CPoint(-4, -3));
    EXPECT_RECT(CSize(1, 2) + &rect, 1, 2, 11, 22);
    EXPECT_RECT(CSize(1, 2) - &rect, -1, -2, 9, 18);
}

TEST(Rectangle, IsThePlatformsRectangle)
{
    CRect rect(1, 2, 3, 4);
    const RECT* platform = &rect;
    EXPECT_EQ(platform->right, 3);
    LPCRECT converted = rect;
    EXPECT_EQ(converted, platform);
    // The platform's functions take it for an output too.
    ::SetRect(rect, 5, 6, 7, 8);
    EXPECT_RECT(rect, 5, 6, 7, 8);
}

TEST(Rectangle, IsConstructedFromEdgesRectanglesAndCorners)
{
    const RECT platform = {0, 0, 100, 50};
    EXPECT_RECT(CRect(platform), 0, 0, 100, 50);
    EXPECT_RECT(CRect(&platform), 0, 0, 100, 50);
    EXPECT_RECT(CRect(CPoint(10, 20), CSize(100, 50)), 10, 20, 110, 70);
    EXPECT_RECT(CRect(CPoint(10, 20), CPoint(100, 50)), 10, 20, 100, 50);
}

TEST(Rectangle, IsAssignedFromThePlatformsRectangle)
{
    const RECT platform = {1, 2, 3, 4};
    CRect rect;
    rect = platform;
    EXPECT_RECT(rect, 1, 2, 3, 4);
    CRect copy;
    copy.CopyRect(rect);
    EXPECT_RECT(copy, 1, 2, 3, 4);
}

TEST(Rectangle, HasWidthHeightAndSizeThatMayBeNegative)
{
    EXPECT_EQ(CRect(20, 30, 80, 70).Width(), 60);
    EXPECT_EQ(CRect(20, 30, 80, 70).Height(), 40);
    EXPECT_TRUE(CRect(80, 70, 20, 30).Size() == CSize(-60, -40));
}

TEST(Rectangle, CornersCanBeReadAndSet)
{
    CRect rect(210, 150, 350, 900);
    EXPECT_TRUE(rect.TopLeft() == CPoint(210, 150));
    EXPECT_TRUE(rect.BottomRight() == CPoint(350, 900));
    rect.TopLeft() = CPoint(10, 10);
    rect.BottomRight() = CPoint(180, 180);
    EXPECT_RECT(rect, 10, 10, 180, 180);
}

TEST(Rectangle, TheCentreIsHalfTheSumOfTheEdges)
{
    EXPECT_TRUE(CRect(10, 20, 30, 50).CenterPoint() == CPoint(20, 35));
    EXPECT_TRUE(CRect(0, 0, 5, 5).CenterPoint() == CPoint(2, 2));
}

TEST(Rectangle, IsEmptyWithoutAPositiveWidthAndHeight)
{
    EXPECT_TRUE(CRect(35, 35, 35, 35).IsRectEmpty());
    EXPECT_TRUE(CRect(0, 0, 10, 0).IsRectEmpty());
    EXPECT_TRUE(CRect(10, 0, 0, 10).IsRectEmpty());
    EXPECT_FALSE(CRect(35, 50, 135, 150).IsRectEmpty());
}

TEST(Rectangle, IsNullOnlyWithAllEdgesZero)
{
    EXPECT_TRUE(CRect(0, 0, 0, 0).IsRectNull());
    EXPECT_FALSE(CRect(35, 35, 35, 35).IsRectNull());
    EXPECT_FALSE(CRect(0, 0, 35, 50).IsRectNull());
}

TEST(Rectangle, RightAndBottomEdgesAreOutside)
{
    const CRect rect(5, 5, 100, 100);
    EXPECT_TRUE(rect.PtInRect(CPoint(35, 50)));
    EXPECT_TRUE(rect.PtInRect(CPoint(5, 65)));
    EXPECT_TRUE(rect.PtInRect(CPoint(88, 5)));
    EXPECT_FALSE(rect.PtInRect(CPoint(35, 100)));
    EXPECT_FALSE(rect.PtInRect(CPoint(100, 98)));
    EXPECT_FALSE(rect.PtInRect(CPoint(125, 298)));
}

TEST(Rectangle, SetRectSetsAndSetRectEmptyClears)
{
    CRect rect(1, 1, 2, 2);
    rect.SetRect(256, 257, 512, 513);
    EXPECT_RECT(rect, 256, 257, 512, 513);
    rect.SetRectEmpty();
    EXPECT_TRUE(rect.IsRectNull());
}

TEST(Rectangle, ComparesItsEdges)
{
    const CRect rect(35, 150, 10, 25);
    CRect same(35, 150, 10, 25);
    const RECT other = {35, 150, 10, 26};
    EXPECT_TRUE(rect.EqualRect(same));
    EXPECT_TRUE(rect == same);
    EXPECT_FALSE(rect.EqualRect(&other));
    EXPECT_TRUE(rect != other);
    EXPECT_FALSE(rect == other);
}

TEST(Rectangle, InflatesAwayFromTheCentre)
{
    EXPECT_RECT(Changed({0, 0, 300, 300}, [](CRect& r) { r.InflateRect(50, 200); }), -50, -200, 350,
                500);
    EXPECT_RECT(Changed({0, 0, 300, 300}, [](CRect& r) { r.InflateRect(CSize(1, 2)); }), -1, -2,
                301, 302);
    EXPECT_RECT(Changed({0, 0, 300, 300}, [](CRect& r) { r.InflateRect(CRect(1, 2, 3, 4)); }), -1,
                -2, 303, 304);
    EXPECT_RECT(Changed({0, 0, 300, 300}, [](CRect& r) { r.InflateRect(1, 2, 3, 4); }), -1, -2, 303,
                304);
}

TEST(Rectangle, DeflatesTowardsTheCentre)
{
    EXPECT_RECT(Changed({10, 10, 50, 50}, [](CRect& r) { r.DeflateRect(1, 2); }), 11, 12, 49, 48);
    EXPECT_RECT(Changed({10, 10, 50, 50}, [](CRect& r) { r.DeflateRect(CSize(1, 2)); }), 11, 12, 49,
                48);
    EXPECT_RECT(Changed({10, 10, 50, 50}, [](CRect& r) { r.DeflateRect(CRect(1, 2, 3, 4)); }), 11,
                12, 47, 46);
    EXPECT_RECT(Changed({10, 10, 50, 50}, [](CRect& r) { r.DeflateRect(-1, -2, -3, -4); }), 9, 8,
                53, 54);
}

TEST(Rectangle, IsMovedByOffsets)
{
    EXPECT_RECT(Changed({0, 0, 35, 36}, [](CRect& r) { r.OffsetRect(230, -230); }), 230, -230, 265,
                -194);
    EXPECT_RECT(Changed({0, 0, 35, 36}, [](CRect& r) { r.OffsetRect(CPoint(1, 2)); }), 1, 2, 36,
                38);
    EXPECT_RECT(Changed({0, 0, 35, 36}, [](CRect& r) { r.OffsetRect(CSize(1, 2)); }), 1, 2, 36, 38);
}

TEST(Rectangle, IsMovedToAPlaceWithItsSizeKept)
{
    EXPECT_RECT(Changed({5, 5, 105, 55}, [](CRect& r) { r.MoveToX(10); }), 10, 5, 110, 55);
    EXPECT_RECT(Changed({5, 5, 105, 55}, [](CRect& r) { r.MoveToY(10); }), 5, 10, 105, 60);
    EXPECT_RECT(Changed({5, 5, 105, 55}, [](CRect& r) { r.MoveToXY(10, 20); }), 10, 20, 110, 70);
    EXPECT_RECT(Changed({5, 5, 105, 55}, [](CRect& r) { r.MoveToXY(CPoint(0, -1)); }), 0, -1, 100,
                49);
}

TEST(Rectangle, NormalizingSwapsReversedEdges)
{
    EXPECT_RECT(Changed({250, 310, 110, 100}, [](CRect& r) { r.NormalizeRect(); }), 110, 100, 250,
                310);
    EXPECT_RECT(Changed({250, 100, 110, 310}, [](CRect& r) { r.NormalizeRect(); }), 110, 100, 250,
                310);
    EXPECT_RECT(Changed({110, 100, 250, 310}, [](CRect& r) { r.NormalizeRect(); }), 110, 100, 250,
                310);
}

TEST(Rectangle, IntersectsToWhatBothContain)
{
    CRect rect;
    EXPECT_TRUE(rect.IntersectRect(CRect(125, 0, 150, 200), CRect(0, 75, 350, 95)));
    EXPECT_RECT(rect, 125, 75, 150, 95);
    EXPECT_RECT(CRect(100, 0, 200, 300) & CRect(0, 100, 300, 200), 100, 100, 200, 200);
    rect &= CRect(140, 80, 1000, 1000);
    EXPECT_RECT(rect, 140, 80, 150, 95);
}

TEST(Rectangle, AnEmptyIntersectionIsReported)
{
    CRect rect(1, 2, 3, 4);
    EXPECT_FALSE(rect.IntersectRect(CRect(0, 0, 10, 10), CRect(10, 0, 20, 10)));
    EXPECT_TRUE(rect.IsRectEmpty());
}

TEST(Rectangle, UnitesToTheSmallestThatContainsBoth)
{
    CRect rect;
    EXPECT_TRUE(rect.UnionRect(CRect(100, 0, 200, 300), CRect(0, 100, 300, 200)));
    EXPECT_RECT(rect, 0, 0, 300, 300);
    EXPECT_RECT(CRect(1, 1, 2, 2) | CRect(5, 5, 6, 7), 1, 1, 6, 7);
    rect |= CRect(-5, -5, 0, 0);
    EXPECT_RECT(rect, -5, -5, 300, 300);
}

TEST(Rectangle, AUnionIgnoresAnEmptyRectangle)
{
    CRect rect;
    EXPECT_TRUE(rect.UnionRect(CRect(10, 10, 20, 20), CRect(0, 0, 0, 50)));
    EXPECT_RECT(rect, 10, 10, 20, 20);
    EXPECT_FALSE(rect.UnionRect(CRect(0, 0, 0, 0), CRect(7, 7, 7, 7)));
}

TEST(Rectangle, SubtractsOnlyWhereOneSideIsCoveredWholly)
{
    CRect rect;
    rect.SubtractRect(CRect(10, 10, 100, 100), CRect(50, 10, 150, 150));
    EXPECT_RECT(rect, 10, 10, 50, 100);
    rect.SubtractRect(CRect(10, 10, 100, 100), CRect(50, 50, 150, 150));
    EXPECT_RECT(rect, 10, 10, 100, 100);
}

TEST(Rectangle, PlusAndMinusAPointOrSizeMove)
{
    CRect rect(100, 235, 200, 335);
    EXPECT_RECT(rect + CPoint(35, 65), 135, 300, 235, 400);
    EXPECT_RECT(rect - CPoint(35, 65), 65, 170, 165, 270);
    EXPECT_RECT(rect + CSize(1, 2), 101, 237, 201, 337);
    EXPECT_RECT(rect - CSize(1, 2), 99, 233, 199, 333);
    rect += CPoint(35, 65);
    rect -= CSize(35, 0);
    EXPECT_RECT(rect, 100, 300, 200, 400);
}

TEST(Rectangle, PlusAndMinusARectangleInflateAndDeflate)
{
    const RECT sides = {1, 2, 3, 4};
    CRect rect(10, 10, 50, 50);
    EXPECT_RECT(rect + &sides, 9, 8, 53, 54);
    EXPECT_RECT(rect - &sides, 11, 12, 47, 46);
    rect += &sides;
    rect -= &sides;
    EXPECT_RECT(rect, 10, 10, 50, 50);
}

TEST(Rectangle, MulDivScalesEachEdge)
{
    EXPECT_RECT(CRect(10, 20, 30, 41).MulDiv(3, 2), 15, 30, 45, 62);
}

}  // namespace
