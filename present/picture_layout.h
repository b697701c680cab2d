/// @file
/// Where the planes of a planar YV12 picture lie, and how much room the picture takes.
#pragma once

#include <cstdint>

namespace ostrel::present
{

/// The layout of one planar picture: Y (width x height bytes), V, U (each (width/2) x (height/2)
/// bytes). All values are 0 where width and height describe no picture.
struct PictureLayout
{
    int width = 0;                  ///< pixels, positive
    int height = 0;                 ///< rows, positive
    std::uint64_t vOffset = 0;      ///< bytes from the picture's start: the size of Y
    std::uint64_t uOffset = 0;      ///< likewise: the size of Y and a quarter of it, cut
    std::uint64_t pictureSize = 0;  ///< bytes of the three planes
    std::uint64_t rgbSize = 0;      ///< bytes of the picture as packed 24-bit RGB
    std::uint64_t dibSize = 0;      ///< likewise with each row padded to 32 bits, as GDI reads it

    bool IsPicture() const { return width > 0; }

    /// Whether a bitmap header can state the size as RGB, in its 32 bits.
    bool IsRgbSizeRepresentable() const { return rgbSize > 0 && rgbSize <= UINT32_MAX; }
};

/// The number of rows of a picture: a negative height marks a top-down one.
std::uint32_t RowCount(std::int32_t height);

/// Lays out a picture. The sign of @p height does not count; a width of 0 or less, or a height
/// that has no magnitude in 32 bits, describes no picture.
PictureLayout LayOutPicture(std::int32_t width, std::int32_t height);

}  // namespace ostrel::present
