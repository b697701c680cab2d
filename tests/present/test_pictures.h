/// @file
/// Pictures of known colours, made by the definition of ITU-R BT.601 in floating point, in memory
/// that ends where the picture ends.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <functional>
#include <ostream>
#include <stdexcept>

namespace ostrel::test
{

/// Bytes behind which memory cannot be touched.
class GuardedBytes
{
public:
    explicit GuardedBytes(std::size_t size, unsigned char fill = 0) : m_size(size)
    {
        constexpr std::size_t kPage = 4096;
        const std::size_t room = (size + kPage - 1) / kPage * kPage;
        m_block = static_cast<unsigned char*>(
            VirtualAlloc(nullptr, room + kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        DWORD before = 0;
        if (m_block == nullptr || !VirtualProtect(m_block + room, kPage, PAGE_NOACCESS, &before))
        {
            throw std::runtime_error("no guarded memory");
        }
        m_bytes = m_block + room - size;
        std::memset(m_bytes, fill, size);
    }
    ~GuardedBytes() { VirtualFree(m_block, 0, MEM_RELEASE); }
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;

    unsigned char* Get() const { return m_bytes; }
    std::size_t Size() const { return m_size; }

private:
    std::size_t m_size;
    unsigned char* m_block;
    unsigned char* m_bytes;
};

struct Colour
{
    int r;
    int g;
    int b;
};

inline std::ostream& operator<<(std::ostream& out, const Colour& colour)
{
    return out << "(" << colour.r << ", " << colour.g << ", " << colour.b << ")";
}

constexpr Colour kRed = {220, 30, 30};
constexpr Colour kGreen = {30, 180, 50};
constexpr Colour kBlue = {40, 60, 200};
constexpr Colour kYellow = {210, 200, 40};
constexpr Colour kBlack = {0, 0, 0};

/// Whether two colours are the same but for rounding and scaling.
inline bool IsNear(const Colour& a, const Colour& b)
{
    constexpr int kTolerance = 6;
    return std::abs(a.r - b.r) <= kTolerance && std::abs(a.g - b.g) <= kTolerance &&
           std::abs(a.b - b.b) <= kTolerance;
}

/// The colour of a place in a picture.
using Painter = std::function<Colour(int x, int y)>;

inline Painter Solid(const Colour& colour)
{
    return [colour](int, int) { return colour; };
}

/// Red, green above blue, yellow.
inline Painter Quadrants(int width, int height)
{
    return [width, height](int x, int y)
    {
        const bool isLeft = x < width / 2;
        return y < height / 2 ? (isLeft ? kRed : kGreen) : (isLeft ? kBlue : kYellow);
    };
}

inline unsigned char ToByte(double value)
{
    return static_cast<unsigned char>(std::lround(std::clamp(value, 0.0, 255.0)));
}

/// A planar picture: Y, V, U. The chroma of a block is that of its first pixel.
class PlanarPicture
{
public:
    PlanarPicture(int width, int height, const Painter& paint)
        : bytes(static_cast<std::size_t>(width * height + 2 * (width / 2) * (height / 2)))
    {
        for (int y = 0; y < height; ++y)
        {
            for (int x = 0; x < width; ++x)
            {
                const Colour c = paint(x, y);
                bytes.Get()[y * width + x] =
                    ToByte(16 + (65.481 * c.r + 128.553 * c.g + 24.966 * c.b) / 255);
            }
        }
        unsigned char* v = bytes.Get() + width * height;
        unsigned char* u = v + (width / 2) * (height / 2);
        for (int y = 0; y < height / 2; ++y)
        {
            for (int x = 0; x < width / 2; ++x)
            {
                const Colour c = paint(2 * x, 2 * y);
                *v++ = ToByte(128 + (112 * c.r - 93.786 * c.g - 18.214 * c.b) / 255);
                *u++ = ToByte(128 + (-37.797 * c.r - 74.203 * c.g + 112 * c.b) / 255);
            }
        }
    }

    GuardedBytes bytes;
};

/// A bottom-up or (height negative) top-down RGB DIB of 24 or 32 bits.
class DibPicture
{
public:
    DibPicture(int width, int height, int bitCount, const Painter& paint)
        : bytes(static_cast<std::size_t>((width * bitCount / 8 + 3) / 4 * 4 * std::abs(height)))
    {
        const int rows = std::abs(height);
        const int stride = (width * bitCount / 8 + 3) / 4 * 4;
        for (int y = 0; y < rows; ++y)
        {
            unsigned char* row = bytes.Get() + (height > 0 ? rows - 1 - y : y) * stride;
            for (int x = 0; x < width; ++x)
            {
                const Colour c = paint(x, y);
                unsigned char* pixel = row + x * bitCount / 8;
                pixel[0] = static_cast<unsigned char>(c.b);
                pixel[1] = static_cast<unsigned char>(c.g);
                pixel[2] = static_cast<unsigned char>(c.r);
            }
        }
    }

    GuardedBytes bytes;
};

inline BITMAPINFOHEADER MakeHeader(int width, int height, int bitCount, DWORD compression)
{
    BITMAPINFOHEADER header = {};
    header.biSize = sizeof(header);
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<WORD>(bitCount);
    header.biCompression = compression;
    return header;
}

/// The header of a planar picture, as a decoder states it.
inline BITMAPINFOHEADER MakePlanarHeader(int width, int height)
{
    return MakeHeader(width, height, 12, 0x32315659);
}

}  // namespace ostrel::test
