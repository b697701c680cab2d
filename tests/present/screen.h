/// @file
/// What the screen shows, and what it ought to show, pixel by pixel. The expectation is worked out
/// from the picture's bytes by the definition of ITU-R BT.601 in floating point, and from where
/// each place of the screen lies in the picture; nothing of it is the renderer's.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "present/test_pictures.h"

namespace ostrel::test
{

/// A part of the screen.
class ScreenImage
{
public:
    /// Takes the screen as it stands; what of the place lies off the screen is black.
    explicit ScreenImage(const RECT& place)
        : m_width(place.right - place.left), m_height(place.bottom - place.top)
    {
        GdiFlush();
        m_pixels.resize(static_cast<std::size_t>(m_width) * m_height);
        BITMAPINFO info = {};
        info.bmiHeader.biSize = sizeof(info.bmiHeader);
        info.bmiHeader.biWidth = m_width;
        info.bmiHeader.biHeight = -m_height;
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 32;
        const HDC screen = GetDC(nullptr);
        const HDC memory = CreateCompatibleDC(screen);
        const HBITMAP bitmap = CreateCompatibleBitmap(screen, m_width, m_height);
        const HGDIOBJ before = SelectObject(memory, bitmap);
        const RECT all = {0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)};
        RECT visible = {};
        IntersectRect(&visible, &all, &place);
        BitBlt(memory, visible.left - place.left, visible.top - place.top,
               visible.right - visible.left, visible.bottom - visible.top, screen, visible.left,
               visible.top, SRCCOPY);
        SelectObject(memory, before);
        GetDIBits(screen, bitmap, 0, static_cast<UINT>(m_height), m_pixels.data(), &info,
                  DIB_RGB_COLORS);
        DeleteObject(bitmap);
        DeleteDC(memory);
        ReleaseDC(nullptr, screen);
    }

    int Width() const { return m_width; }
    int Height() const { return m_height; }
    Colour At(int x, int y) const
    {
        const std::uint32_t pixel = m_pixels[static_cast<std::size_t>(y) * m_width + x];
        return {static_cast<int>(pixel >> 16 & 255), static_cast<int>(pixel >> 8 & 255),
                static_cast<int>(pixel & 255)};
    }

private:
    int m_width;
    int m_height;
    std::vector<std::uint32_t> m_pixels;
};

/// A planar picture of squares, each of a colour of its own.
class SquaresPicture
{
public:
    static constexpr int kSide = 16;

    SquaresPicture(int width, int height, unsigned int seed)
        : width(width),
          height(height),
          bytes(static_cast<std::size_t>(width * height + 2 * (width / 2) * (height / 2))),
          m_columns((width + kSide - 1) / kSide)
    {
        std::mt19937 random(seed);
        const auto between = [&](int low, int high)
        { return low + static_cast<int>(random() % static_cast<unsigned int>(high - low + 1)); };
        const int squares = m_columns * ((height + kSide - 1) / kSide);
        for (int i = 0; i < squares; ++i)
        {
            // Within what both readings of the bytes can show as a colour.
            m_squares.push_back({between(80, 170), between(105, 150), between(105, 150)});
        }
        for (int y = 0; y < height; ++y)
        {
            for (int x = 0; x < width; ++x)
            {
                const Sample sample = At(x, y);
                bytes.Get()[y * width + x] = static_cast<unsigned char>(sample.y);
                if (x % 2 == 0 && y % 2 == 0 && x + 1 < width && y + 1 < height)
                {
                    unsigned char* const v =
                        bytes.Get() + width * height + y / 2 * (width / 2) + x / 2;
                    v[0] = static_cast<unsigned char>(sample.v);
                    v[(width / 2) * (height / 2)] = static_cast<unsigned char>(sample.u);
                }
            }
        }
    }

    /// Luma 16 to 235, as the library and most drivers take it, or 0 to 255, as others do.
    enum class Range
    {
        kStudio,
        kFull
    };

    /// The colour of a place in the picture.
    Colour ColourAt(int x, int y, Range range) const
    {
        const Sample sample = At(x, y);
        const bool isStudio = range == Range::kStudio;
        const double luma = isStudio ? (sample.y - 16) * 255.0 / 219 : sample.y;
        const double scale = isStudio ? 255.0 / 224 : 1;
        const double u = (sample.u - 128) * scale;
        const double v = (sample.v - 128) * scale;
        return {ToByte(luma + 1.402 * v), ToByte(luma - 0.344136 * u - 0.714136 * v),
                ToByte(luma + 1.772 * u)};
    }

    const int width;
    const int height;
    GuardedBytes bytes;

private:
    struct Sample
    {
        int y;
        int u;
        int v;
    };

    const Sample& At(int x, int y) const
    {
        return m_squares[static_cast<std::size_t>(y / kSide * m_columns + x / kSide)];
    }

    int m_columns;
    std::vector<Sample> m_squares;
};

/// What a window ought to show: ground, black within the ground, the picture within that.
struct ExpectedWindow
{
    RECT ground;                   ///< all around this, the client area is not painted on
    RECT picture;                  ///< where the picture stands, in client coordinates
    RECT source;                   ///< which part of the picture
    bool isAloneCompared = false;  ///< whether only the picture counts, and what covers it
    bool isUpsideDown = false;
    std::optional<RECT> cover;  ///< what lies over the window, in client coordinates
    Colour coverColour = {};
};

/// How a screen differs from what it ought to show.
struct Mismatch
{
    int compared = 0;  ///< places of the picture that lie well inside a square
    int wrong = 0;
    std::string first;
};

inline bool Contains(const RECT& rect, int x, int y)
{
    return x >= rect.left && x < rect.right && y >= rect.top && y < rect.bottom;
}

/// Compares every visible pixel of a window with its expectation. Pixels within @p margin pixels of
/// the picture from another square are left out: there drivers mix colours, each in its way. So are
/// those within a pixel of the picture's edge.
inline Mismatch Compare(const ScreenImage& screen, const RECT& visible,
                        const ExpectedWindow& expected, const SquaresPicture& picture,
                        SquaresPicture::Range range, double margin)
{
    constexpr int kTolerance = 10;
    Mismatch mismatch;
    const RECT& place = expected.picture;
    RECT outside = place;
    InflateRect(&outside, 1, 1);
    const double scaleX = static_cast<double>(expected.source.right - expected.source.left) /
                          (place.right - place.left);
    const double scaleY = static_cast<double>(expected.source.bottom - expected.source.top) /
                          (place.bottom - place.top);
    const auto isInsideASquare = [&](double at, double low, double high)
    {
        const double within = std::fmod(at, SquaresPicture::kSide);
        return within > margin && within < SquaresPicture::kSide - margin && at > low + margin &&
               at < high - margin;
    };
    for (int y = visible.top; y < visible.bottom; ++y)
    {
        for (int x = visible.left; x < visible.right; ++x)
        {
            Colour colour = kBlack;
            if (expected.cover && Contains(*expected.cover, x, y))
            {
                colour = expected.coverColour;
            }
            else if (Contains(place, x, y))
            {
                const double atX = expected.source.left + (x - place.left + 0.5) * scaleX;
                const double down = (y - place.top + 0.5) * scaleY;
                const double atY = expected.isUpsideDown ? expected.source.bottom - down
                                                         : expected.source.top + down;
                if (!isInsideASquare(atX, expected.source.left, expected.source.right) ||
                    !isInsideASquare(atY, expected.source.top, expected.source.bottom))
                {
                    continue;
                }
                ++mismatch.compared;
                colour = picture.ColourAt(static_cast<int>(atX), static_cast<int>(atY), range);
            }
            else if (expected.isAloneCompared)
            {
                continue;
            }
            else if (!Contains(expected.ground, x, y))
            {
                colour = {128, 128, 128};
            }
            else if (Contains(outside, x, y))
            {
                continue;
            }
            const Colour seen = screen.At(x, y);
            if (std::abs(seen.r - colour.r) > kTolerance ||
                std::abs(seen.g - colour.g) > kTolerance ||
                std::abs(seen.b - colour.b) > kTolerance)
            {
                if (mismatch.wrong++ == 0)
                {
                    const auto text = [](const Colour& c) {
                        return std::to_string(c.r) + "," + std::to_string(c.g) + "," +
                               std::to_string(c.b);
                    };
                    mismatch.first = "at " + std::to_string(x) + "," + std::to_string(y) +
                                     " there is " + text(seen) + " instead of " + text(colour);
                }
            }
        }
    }
    return mismatch;
}

}  // namespace ostrel::test
