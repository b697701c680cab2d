/// @file
/// Points, sizes and rectangles: the platform's structures with operators.
#pragma once

#include "afx.h"

class CPoint;
class CRect;

/// A width and a height, or a displacement.
class CSize : public tagSIZE
{
public:
    CSize() : tagSIZE{0, 0} {}
    CSize(int initCX, int initCY) : tagSIZE{initCX, initCY} {}
    CSize(SIZE initSize) : tagSIZE(initSize) {}
    CSize(POINT initPt) : tagSIZE{initPt.x, initPt.y} {}
    /// The width is the low 16 bits, the height the high ones.
    CSize(DWORD dwSize)
        : tagSIZE{static_cast<short>(LOWORD(dwSize)), static_cast<short>(HIWORD(dwSize))}
    {
    }

    BOOL operator==(SIZE size) const { return cx == size.cx && cy == size.cy; }
    BOOL operator!=(SIZE size) const { return !(*this == size); }
    void operator+=(SIZE size) { SetSize(cx + size.cx, cy + size.cy); }
    void operator-=(SIZE size) { SetSize(cx - size.cx, cy - size.cy); }
    void SetSize(int CX, int CY)
    {
        cx = CX;
        cy = CY;
    }

    CSize operator+(SIZE size) const { return CSize(cx + size.cx, cy + size.cy); }
    CSize operator-(SIZE size) const { return CSize(cx - size.cx, cy - size.cy); }
    CSize operator-() const { return CSize(-cx, -cy); }
    CPoint operator+(POINT point) const;
    CPoint operator-(POINT point) const;
    CRect operator+(const RECT* lpRect) const;
    CRect operator-(const RECT* lpRect) const;
};

/// A place, or a displacement.
class CPoint : public tagPOINT
{
public:
    CPoint() : tagPOINT{0, 0} {}
    CPoint(int initX, int initY) : tagPOINT{initX, initY} {}
    CPoint(POINT initPt) : tagPOINT(initPt) {}
    CPoint(SIZE initSize) : tagPOINT{initSize.cx, initSize.cy} {}
    /// x is the low 16 bits, y the high ones.
    CPoint(LPARAM dwPoint)
        : tagPOINT{static_cast<short>(LOWORD(dwPoint)), static_cast<short>(HIWORD(dwPoint))}
    {
    }

    void Offset(int xOffset, int yOffset) { SetPoint(x + xOffset, y + yOffset); }
    void Offset(POINT point) { Offset(point.x, point.y); }
    void Offset(SIZE size) { Offset(size.cx, size.cy); }
    void SetPoint(int X, int Y)
    {
        x = X;
        y = Y;
    }

    BOOL operator==(POINT point) const { return x == point.x && y == point.y; }
    BOOL operator!=(POINT point) const { return !(*this == point); }
    void operator+=(SIZE size) { Offset(size); }
    void operator-=(SIZE size) { Offset(-size.cx, -size.cy); }
    void operator+=(POINT point) { Offset(point); }
    void operator-=(POINT point) { Offset(-point.x, -point.y); }

    CPoint operator+(SIZE size) const { return CPoint(x + size.cx, y + size.cy); }
    CPoint operator-(SIZE size) const { return CPoint(x - size.cx, y - size.cy); }
    CPoint operator-() const { return CPoint(-x, -y); }
    CPoint operator+(POINT point) const { return CPoint(x + point.x, y + point.y); }
    CSize operator-(POINT point) const { return CSize(x - point.x, y - point.y); }
    CRect operator+(const RECT* lpRect) const;
    CRect operator-(const RECT* lpRect) const;
};

/// A rectangle; its right and bottom edges lie outside.
///
/// Most members expect a normalised rectangle: left not right of right, top not below bottom.
class AFX_API CRect : public tagRECT
{
public:
    CRect() : tagRECT{0, 0, 0, 0} {}
    CRect(int l, int t, int r, int b) : tagRECT{l, t, r, b} {}
    CRect(const RECT& srcRect) : tagRECT(srcRect) {}
    CRect(LPCRECT lpSrcRect) : tagRECT(*lpSrcRect) {}
    CRect(POINT point, SIZE size) : tagRECT{point.x, point.y, point.x + size.cx, point.y + size.cy}
    {
    }
    CRect(POINT topLeft, POINT bottomRight)
        : tagRECT{topLeft.x, topLeft.y, bottomRight.x, bottomRight.y}
    {
    }

    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
    CSize Size() const { return CSize(Width(), Height()); }
    CPoint& TopLeft();
    CPoint& BottomRight();
    const CPoint& TopLeft() const;
    const CPoint& BottomRight() const;
    CPoint CenterPoint() const { return CPoint((left + right) / 2, (top + bottom) / 2); }

    operator LPRECT() { return this; }
    operator LPCRECT() const { return this; }

    /// @return TRUE when width or height is 0 or less.
    BOOL IsRectEmpty() const;
    /// @return TRUE when all four edges are 0.
    BOOL IsRectNull() const;
    /// @return TRUE when the point lies inside; the right and bottom edges do not count.
    BOOL PtInRect(POINT point) const;

    void SetRect(int x1, int y1, int x2, int y2);
    void SetRect(POINT topLeft, POINT bottomRight);
    void SetRectEmpty();
    void CopyRect(LPCRECT lpSrcRect);
    BOOL EqualRect(LPCRECT lpRect) const;

    /// Moves the sides away from the centre.
    void InflateRect(int x, int y);
    void InflateRect(SIZE size);
    void InflateRect(LPCRECT lpRect);
    void InflateRect(int l, int t, int r, int b);
    /// Moves the sides towards the centre.
    void DeflateRect(int x, int y);
    void DeflateRect(SIZE size);
    void DeflateRect(LPCRECT lpRect);
    void DeflateRect(int l, int t, int r, int b);

    void OffsetRect(int x, int y);
    void OffsetRect(POINT point);
    void OffsetRect(SIZE size);
    /// Swaps edges so that neither width nor height is negative.
    void NormalizeRect();
    void MoveToX(int x);
    void MoveToY(int y);
    void MoveToXY(int x, int y);
    void MoveToXY(POINT point);

    /// Makes this the largest rectangle that both contain.
    /// @return 0 when that is empty; this one then is too.
    BOOL IntersectRect(LPCRECT lpRect1, LPCRECT lpRect2);
    /// Makes this the smallest rectangle that contains both; empty ones do not count.
    /// @return 0 when that is empty.
    BOOL UnionRect(LPCRECT lpRect1, LPCRECT lpRect2);
    /// Makes this the smallest rectangle that contains what of the first is not in the second.
    BOOL SubtractRect(LPCRECT lpRectSrc1, LPCRECT lpRectSrc2);

    CRect& operator=(const RECT& srcRect);
    BOOL operator==(const RECT& rect) const;
    BOOL operator!=(const RECT& rect) const;
    void operator+=(POINT point);
    void operator+=(SIZE size);
    void operator+=(LPCRECT lpRect);
    void operator-=(POINT point);
    void operator-=(SIZE size);
    void operator-=(LPCRECT lpRect);
    void operator&=(const RECT& rect);
    void operator|=(const RECT& rect);

    CRect operator+(POINT point) const;
    CRect operator+(SIZE size) const;
    CRect operator+(LPCRECT lpRect) const;
    CRect operator-(POINT point) const;
    CRect operator-(SIZE size) const;
    CRect operator-(LPCRECT lpRect) const;
    CRect operator&(const RECT& rect) const;
    CRect operator|(const RECT& rect) const;

    /// @return this rectangle with each edge multiplied and then divided, rounded, as `MulDiv`.
    CRect MulDiv(int nMultiplier, int nDivisor) const;
};

inline CPoint CSize::operator+(POINT point) const
{
    return CPoint(point) + *this;
}

inline CPoint CSize::operator-(POINT point) const
{
    return CPoint(cx - point.x, cy - point.y);
}

inline CRect CSize::operator+(const RECT* lpRect) const
{
    return CRect(lpRect) + *this;
}

inline CRect CSize::operator-(const RECT* lpRect) const
{
    return CRect(lpRect) - *this;
}

inline CRect CPoint::operator+(const RECT* lpRect) const
{
    return CRect(lpRect) + *this;
}

inline CRect CPoint::operator-(const RECT* lpRect) const
{
    return CRect(lpRect) - *this;
}
