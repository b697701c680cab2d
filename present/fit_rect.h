/// @file
/// Rectangle arithmetic of the renderer: borders and aspect fitting.
#pragma once

namespace ostrel::present
{

/// A rectangle by its edges; right and bottom lie outside it.
struct Edges
{
    int left;
    int top;
    int right;
    int bottom;
};

/// @return right less left, in 32-bit arithmetic that wraps around.
int Width(const Edges& rect);

/// @return bottom less top, likewise.
int Height(const Edges& rect);

/// Takes @p border off every side. A rectangle that is too small for it turns inside out.
void TakeOffBorder(Edges& rect, int border);

/// Shrinks @p destination around its centre to the aspect of @p source, in 32-bit arithmetic that
/// wraps around. A difference of less than 5 percentage points of width over height is tolerated.
/// @return whether the aspect had to be fitted. False leaves @p destination alone; so does a
/// division by zero that would be due.
bool FitRect(const Edges& source, Edges& destination);

}  // namespace ostrel::present
