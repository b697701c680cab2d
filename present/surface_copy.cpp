#include "present/surface_copy.h"

#include <cstring>

namespace ostrel::present
{

namespace
{

constexpr int kGrey = 128;

// The rows of a surface, one after another, as far as there is room for them.
class RowWriter
{
public:
    RowWriter(unsigned char* surface, std::uint64_t size) : m_surface(surface), m_left(size) {}

    // The next row, if it fits; then on by the pitch.
    unsigned char* Take(std::size_t width, std::size_t pitch)
    {
        unsigned char* const row = width <= m_left ? m_surface : nullptr;
        const std::uint64_t step = pitch < m_left ? pitch : m_left;
        m_surface += step;
        m_left -= step;
        return row;
    }

private:
    unsigned char* m_surface;
    std::uint64_t m_left;
};

void FillRow(unsigned char* row, const unsigned char* source, std::size_t width)
{
    if (row == nullptr)
    {
        return;
    }
    if (source != nullptr)
    {
        std::memcpy(row, source, width);
    }
    else
    {
        std::memset(row, kGrey, width);
    }
}

}  // namespace

void CopyToSurface(unsigned char* surface, std::uint64_t surfaceSize, std::ptrdiff_t pitch,
                   const unsigned char* picture, int width, int height)
{
    if (surface == nullptr || picture == nullptr || width <= 0 || height <= 0 || pitch < width)
    {
        return;
    }
    RowWriter rows(surface, surfaceSize);
    const auto lumaWidth = static_cast<std::size_t>(width);
    const auto lumaPitch = static_cast<std::size_t>(pitch);
    for (int row = 0; row < height; ++row)
    {
        FillRow(rows.Take(lumaWidth, lumaPitch), picture, lumaWidth);
        picture += width;
    }

    const int rowsHeld = 2 * (height / 2);
    const int rowsOfSurface = rowsHeld + 2 * (height % 2);
    const unsigned char* source = nullptr;
    for (int row = 0; row < rowsOfSurface; ++row)
    {
        if (row < rowsHeld)
        {
            source = picture;
            picture += lumaWidth / 2;
        }
        FillRow(rows.Take(lumaWidth / 2, lumaPitch / 2), source, lumaWidth / 2);
    }
}

}  // namespace ostrel::present
