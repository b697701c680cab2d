/// @file
/// Draws DIB bits through GDI.
#pragma once

#include <windows.h>

#include "present/fit_rect.h"

namespace ostrel::present
{

/// Stretches the part @p source of a DIB into @p destination. A header that is none of those that
/// GDI knows by their size draws nothing.
/// @param header one colour entry; nothing behind it is read, a longer colour table counts as
/// black.
/// @param bits as many bytes as GDI reads for the header.
void DrawDib(HDC dc, const BITMAPINFO& header, const unsigned char* bits, const Edges& source,
             const Edges& destination);

}  // namespace ostrel::present
