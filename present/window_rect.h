/// @file
/// The platform's rectangles as those of the arithmetic, and back.
#pragma once

#include <windows.h>

#include "present/fit_rect.h"

namespace ostrel::present
{

inline Edges ToEdges(const RECT& rect)
{
    return {static_cast<int>(rect.left), static_cast<int>(rect.top), static_cast<int>(rect.right),
            static_cast<int>(rect.bottom)};
}

inline RECT ToRect(const Edges& edges)
{
    return {edges.left, edges.top, edges.right, edges.bottom};
}

}  // namespace ostrel::present
