/// @file
/// Which format an image file has, and how a picture that goes into one lies in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "media/confined_conversion.h"

namespace ostrel::media
{

enum class ImageFileFormat
{
    Bmp,
    Png,
    Jpeg
};

/// Chooses the format by searching the whole path, folders included, for ".bmp", then for ".png",
/// in small letters or capitals, anywhere but at its start. Without either it is JPEG.
ImageFileFormat ChooseImageFileFormat(std::wstring_view path);

/// The number of rows of a picture: a negative height marks a top-down one.
/// @return 0 when the height has no magnitude in 32 bits.
int CountRows(std::int32_t height);

/// The size in bytes of an uncompressed picture with rows padded to 32 bits, as GDI reads and keeps
/// it.
/// @return 0 when there is no such picture: a width or height of 0, a negative width, a size above
/// what a bitmap header can state as a positive number.
std::size_t DibSize(std::int32_t width, std::int32_t height, unsigned bitsPerPixel);

/// The layout of a planar picture: Y (width x height bytes), V, U (each a quarter of that, cut).
struct PlanarLayout
{
    std::size_t vOffset;
    std::size_t uOffset;
    std::size_t pictureSize;
    std::size_t rgbSize;  ///< bytes of the picture as 24-bit RGB, rows not padded
};

/// @param width, height as DibSize() takes them for a picture there is.
PlanarLayout LayOutPlanar(std::int32_t width, std::int32_t height);

/// Converts a planar picture to 24-bit RGB, reading nothing outside of it. Rows are 3 x width bytes
/// apart, top-down, whatever the sign of the height.
/// @param rgb room for DibSize() bytes; no more than the first 3 x width x height are written.
/// @param width, height as DibSize() takes them for a picture there is.
void ConvertPlanarForDib(Yv12ToRgb24 convert, unsigned char* rgb, const unsigned char* picture,
                         std::int32_t width, std::int32_t height);

}  // namespace ostrel::media
