#include <afxwin.h>
#include <gtest/gtest.h>

namespace
{

COLORREF ColourOf(HBRUSH brush)
{
    LOGBRUSH description = {};
    EXPECT_EQ(GetObject(brush, sizeof description, &description),
              static_cast<int>(sizeof description));
    EXPECT_EQ(description.lbStyle, static_cast<UINT>(BS_SOLID));
    return description.lbColor;
}

bool IsBrush(HGDIOBJ object)
{
    return GetObjectType(object) == OBJ_BRUSH;
}

TEST(Brush, IsNullUntilCreated)
{
    CBrush brush;
    EXPECT_EQ(brush.GetSafeHandle(), nullptr);
    EXPECT_EQ(static_cast<HBRUSH>(brush), nullptr);
    EXPECT_FALSE(brush.DeleteObject());
}

TEST(Brush, IsConstructedSolidFromAColour)
{
    CBrush brush(RGB(10, 20, 30));
    EXPECT_EQ(ColourOf(brush), RGB(10, 20, 30));
}

TEST(Brush, IsCreatedSolidFromAColour)
{
    CBrush brush;
    EXPECT_TRUE(brush.CreateSolidBrush(RGB(0, 255, 1)));
    EXPECT_EQ(ColourOf(brush), RGB(0, 255, 1));
    EXPECT_EQ(brush.GetSafeHandle(), static_cast<HBRUSH>(brush));
}

TEST(Brush, DestructionDeletesTheBrush)
{
    HBRUSH handle = nullptr;
    {
        CBrush brush(RGB(1, 2, 3));
        handle = brush;
        EXPECT_TRUE(IsBrush(handle));
    }
    EXPECT_FALSE(IsBrush(handle));
}

TEST(Brush, DeleteObjectDeletesTheBrushAndForgetsIt)
{
    CBrush brush(RGB(1, 2, 3));
    const HBRUSH handle = brush;
    EXPECT_TRUE(brush.DeleteObject());
    EXPECT_EQ(brush.GetSafeHandle(), nullptr);
    EXPECT_FALSE(IsBrush(handle));
}

TEST(Brush, DetachGivesTheBrushAway)
{
    HGDIOBJ handle = nullptr;
    {
        CBrush brush(RGB(1, 2, 3));
        handle = brush.Detach();
        EXPECT_EQ(brush.GetSafeHandle(), nullptr);
    }
    EXPECT_TRUE(IsBrush(handle));
    DeleteObject(handle);
}

TEST(Brush, AttachTakesABrushOver)
{
    const HBRUSH handle = CreateSolidBrush(RGB(7, 8, 9));
    {
        CBrush brush;
        EXPECT_TRUE(brush.Attach(handle));
        EXPECT_EQ(ColourOf(brush), RGB(7, 8, 9));
    }
    EXPECT_FALSE(IsBrush(handle));
}

TEST(Brush, AttachRefusesNull)
{
    CBrush brush;
    EXPECT_FALSE(brush.Attach(nullptr));
}

}  // namespace
