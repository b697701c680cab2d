#include "present/surface_copy.h"

#include <cstring>

namespace ostrel::present
{

namespace
{

constexpr int kGrey = 128;

}  // namespace

void CopyToSurface(unsigned char* surface, std::ptrdiff_t pitch, const unsigned char* picture,
                   int width, int height)
{
    if (surface == nullptr || picture == nullptr || width <= 0 || height <= 0 || pitch < width)
    {
        return;
    }
    for (int row = 0; row < height; ++row)
    {
        std::memcpy(surface, picture, static_cast<std::size_t>(width));
        surface += pitch;
        picture += width;
    }

    const auto chromaWidth = static_cast<std::size_t>(width / 2);
    const int rowsHeld = 2 * (height / 2);
    const int rowsOfSurface = 2 * (height / 2 + height % 2);
    const unsigned char* lastRow = nullptr;
    for (int row = 0; row < rowsOfSurface; ++row)
    {
        if (row < rowsHeld)
        {
            lastRow = picture;
            picture += chromaWidth;
        }
        if (lastRow != nullptr)
        {
            std::memcpy(surface, lastRow, chromaWidth);
        }
        else
        {
            std::memset(surface, kGrey, chromaWidth);
        }
        surface += pitch / 2;
    }
}

}  // namespace ostrel::present
