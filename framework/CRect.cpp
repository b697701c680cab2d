#include <atltypes.h>

#include <utility>

static_assert(sizeof(CPoint) == sizeof(POINT) && sizeof(CSize) == sizeof(SIZE) &&
                  sizeof(CRect) == sizeof(RECT),
              "these classes stand in for the platform's structures");

// A corner is a pair of neighbouring edges of the same layout as a point.
CPoint& CRect::TopLeft()
{
    return *reinterpret_cast<CPoint*>(&left);
}

CPoint& CRect::BottomRight()
{
    return *reinterpret_cast<CPoint*>(&right);
}

const CPoint& CRect::TopLeft() const
{
    return *reinterpret_cast<const CPoint*>(&left);
}

const CPoint& CRect::BottomRight() const
{
    return *reinterpret_cast<const CPoint*>(&right);
}

BOOL CRect::IsRectEmpty() const
{
    return ::IsRectEmpty(this);
}

BOOL CRect::IsRectNull() const
{
    return left == 0 && top == 0 && right == 0 && bottom == 0;
}

BOOL CRect::PtInRect(POINT point) const
{
    return ::PtInRect(this, point);
}

void CRect::SetRect(int x1, int y1, int x2, int y2)
{
    *this = CRect(x1, y1, x2, y2);
}

void CRect::SetRect(POINT topLeft, POINT bottomRight)
{
    *this = CRect(topLeft, bottomRight);
}

void CRect::SetRectEmpty()
{
    *this = CRect();
}

void CRect::CopyRect(LPCRECT lpSrcRect)
{
    *this = *lpSrcRect;
}

BOOL CRect::EqualRect(LPCRECT lpRect) const
{
    return ::EqualRect(this, lpRect);
}

void CRect::InflateRect(int x, int y)
{
    InflateRect(x, y, x, y);
}

void CRect::InflateRect(SIZE size)
{
    InflateRect(size.cx, size.cy);
}

void CRect::InflateRect(LPCRECT lpRect)
{
    InflateRect(lpRect->left, lpRect->top, lpRect->right, lpRect->bottom);
}

void CRect::InflateRect(int l, int t, int r, int b)
{
    SetRect(left - l, top - t, right + r, bottom + b);
}

void CRect::DeflateRect(int x, int y)
{
    InflateRect(-x, -y);
}

void CRect::DeflateRect(SIZE size)
{
    DeflateRect(size.cx, size.cy);
}

void CRect::DeflateRect(LPCRECT lpRect)
{
    DeflateRect(lpRect->left, lpRect->top, lpRect->right, lpRect->bottom);
}

void CRect::DeflateRect(int l, int t, int r, int b)
{
    InflateRect(-l, -t, -r, -b);
}

void CRect::OffsetRect(int x, int y)
{
    SetRect(left + x, top + y, right + x, bottom + y);
}

void CRect::OffsetRect(POINT point)
{
    OffsetRect(point.x, point.y);
}

void CRect::OffsetRect(SIZE size)
{
    OffsetRect(size.cx, size.cy);
}

void CRect::NormalizeRect()
{
    if (left > right)
    {
        std::swap(left, right);
    }
    if (top > bottom)
    {
        std::swap(top, bottom);
    }
}

void CRect::MoveToX(int x)
{
    OffsetRect(x - left, 0);
}

void CRect::MoveToY(int y)
{
    OffsetRect(0, y - top);
}

void CRect::MoveToXY(int x, int y)
{
    OffsetRect(x - left, y - top);
}

void CRect::MoveToXY(POINT point)
{
    MoveToXY(point.x, point.y);
}

BOOL CRect::IntersectRect(LPCRECT lpRect1, LPCRECT lpRect2)
{
    return ::IntersectRect(this, lpRect1, lpRect2);
}

BOOL CRect::UnionRect(LPCRECT lpRect1, LPCRECT lpRect2)
{
    return ::UnionRect(this, lpRect1, lpRect2);
}

BOOL CRect::SubtractRect(LPCRECT lpRectSrc1, LPCRECT lpRectSrc2)
{
    return ::SubtractRect(this, lpRectSrc1, lpRectSrc2);
}

CRect& CRect::operator=(const RECT& srcRect)
{
    tagRECT::operator=(srcRect);
    return *this;
}

BOOL CRect::operator==(const RECT& rect) const
{
    return EqualRect(&rect);
}

BOOL CRect::operator!=(const RECT& rect) const
{
    return !EqualRect(&rect);
}

void CRect::operator+=(POINT point)
{
    OffsetRect(point);
}

void CRect::operator+=(SIZE size)
{
    OffsetRect(size);
}

void CRect::operator+=(LPCRECT lpRect)
{
    InflateRect(lpRect);
}

void CRect::operator-=(POINT point)
{
    OffsetRect(-point.x, -point.y);
}

void CRect::operator-=(SIZE size)
{
    OffsetRect(-size.cx, -size.cy);
}

void CRect::operator-=(LPCRECT lpRect)
{
    DeflateRect(lpRect);
}

void CRect::operator&=(const RECT& rect)
{
    IntersectRect(this, &rect);
}

void CRect::operator|=(const RECT& rect)
{
    UnionRect(this, &rect);
}

CRect CRect::operator+(POINT point) const
{
    CRect result(*this);
    result += point;
    return result;
}

CRect CRect::operator+(SIZE size) const
{
    CRect result(*this);
    result += size;
    return result;
}

CRect CRect::operator+(LPCRECT lpRect) const
{
    CRect result(*this);
    result += lpRect;
    return result;
}

CRect CRect::operator-(POINT point) const
{
    CRect result(*this);
    result -= point;
    return result;
}

CRect CRect::operator-(SIZE size) const
{
    CRect result(*this);
    result -= size;
    return result;
}

CRect CRect::operator-(LPCRECT lpRect) const
{
    CRect result(*this);
    result -= lpRect;
    return result;
}

CRect CRect::operator&(const RECT& rect) const
{
    CRect result(*this);
    result &= rect;
    return result;
}

CRect CRect::operator|(const RECT& rect) const
{
    CRect result(*this);
    result |= rect;
    return result;
}

CRect CRect::MulDiv(int nMultiplier, int nDivisor) const
{
    return CRect(::MulDiv(left, nMultiplier, nDivisor), ::MulDiv(top, nMultiplier, nDivisor),
                 ::MulDiv(right, nMultiplier, nDivisor), ::MulDiv(bottom, nMultiplier, nDivisor));
}
