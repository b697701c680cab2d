#include "present/fit_rect.h"

#include <cstdint>

namespace ostrel::present
{

namespace
{

constexpr int kToleratedDifference = 5;

// All results are cut to 32 bits: rectangles come from callers, and their arithmetic must be
// defined for every value.
int Cut(std::int64_t value)
{
    return static_cast<int>(static_cast<std::uint32_t>(value));
}

int Add(int a, int b)
{
    return Cut(std::int64_t{a} + b);
}

int Subtract(int a, int b)
{
    return Cut(std::int64_t{a} - b);
}

int Multiply(int a, int b)
{
    return Cut(std::int64_t{a} * b);
}

int Divide(int a, int b)
{
    return Cut(std::int64_t{a} / b);
}

int Magnitude(int a)
{
    return a < 0 ? Subtract(0, a) : a;
}

}  // namespace

int Width(const Edges& rect)
{
    return Subtract(rect.right, rect.left);
}

int Height(const Edges& rect)
{
    return Subtract(rect.bottom, rect.top);
}

void TakeOffBorder(Edges& rect, int border)
{
    rect.left = Add(rect.left, border);
    rect.top = Add(rect.top, border);
    rect.right = Subtract(rect.right, border);
    rect.bottom = Subtract(rect.bottom, border);
}

namespace
{

// Width over height in percent; the height is not 0.
int Ratio(const Edges& rect)
{
    return Magnitude(Divide(Multiply(Width(rect), 100), Height(rect)));
}

}  // namespace

bool FitRect(const Edges& source, Edges& destination)
{
    const int width = Width(destination);
    const int height = Height(destination);
    if (Height(source) == 0 || height == 0)
    {
        return false;
    }
    const int sourceRatio = Ratio(source);
    if (Magnitude(Subtract(sourceRatio, Ratio(destination))) < kToleratedDifference)
    {
        return false;
    }
    const int fitWidth = Divide(Multiply(height, sourceRatio), 100);
    if (fitWidth > width)
    {
        if (sourceRatio == 0)
        {
            return false;
        }
        const int fitHeight = Divide(Multiply(width, 100), sourceRatio);
        destination.top = Add(destination.top, Divide(Subtract(height, fitHeight), 2));
        destination.bottom = Add(destination.top, fitHeight);
    }
    else if (fitWidth < width)
    {
        destination.left = Add(destination.left, Divide(Subtract(width, fitWidth), 2));
        destination.right = Add(destination.left, fitWidth);
    }
    return true;
}

}  // namespace ostrel::present
