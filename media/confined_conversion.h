/// @file
/// YV12 to RGB24 for callers whose buffers hold the picture and not a byte more.
#pragma once

#include <cstddef>

namespace ostrel::media
{

/// The conversion as CSFunc exports it (under its lock) or as it is inside: RGB, Y, U, V, width and
/// height.
using Yv12ToRgb24 = void (*)(unsigned char*, const unsigned char*, const unsigned char*,
                             const unsigned char*, int, int);

/// Converts a YV12 picture held in one buffer, Y plane first, such that nothing outside the picture
/// is read and nothing outside the RGB buffer is written.
///
/// Every byte inside is what @p convert leaves there given the room it needs: a row that runs past
/// its plane reads what follows in the picture. Bytes that are read past the picture itself count
/// as black (16) in a row of luma and as colourless (128) in a row of chroma.
/// @param rgbSize bytes at @p rgb; less than 3 x width x height does nothing.
/// @param pictureSize bytes at @p picture.
/// @param uOffset, vOffset where the chroma planes start in @p picture, rows width/2 bytes apart.
/// A width or height of 0 or less does nothing.
void ConvertYv12ToRgb24Confined(Yv12ToRgb24 convert, unsigned char* rgb, std::size_t rgbSize,
                                const unsigned char* picture, std::size_t pictureSize,
                                std::size_t uOffset, std::size_t vOffset, int width, int height);

}  // namespace ostrel::media
