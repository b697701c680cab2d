/// @file
/// Copies a planar picture into the memory of a planar surface.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ostrel::present
{

/// Copies a planar picture (Y, then two chroma planes) into a surface: @p height rows of @p width
/// bytes, @p pitch bytes apart; directly behind them, for each of the two chroma planes, as many
/// rows as there are even row numbers below @p height, of width/2 bytes, pitch/2 apart.
///
/// The source runs on row by row. An odd height so asks for two chroma rows more than the picture
/// holds: these repeat its last chroma row, or are grey where it has none. Nothing is read past the
/// width x height + 2 x (width/2) x (height/2) bytes of the picture.
///
/// A row for which the surface has no room is left out. Nothing is copied when width or height is
/// not positive, or the pitch smaller than the width.
/// @param surfaceSize bytes of the surface.
void CopyToSurface(unsigned char* surface, std::uint64_t surfaceSize, std::ptrdiff_t pitch,
                   const unsigned char* picture, int width, int height);

}  // namespace ostrel::present
