#include <algorithm>
#include <cstdint>

#include "media/conversion_rows.h"

namespace ostrel::media::scalar
{
namespace
{

// ---- ITU-R BT.601, studio range: YUV to RGB in units of 1/64 ------------------------------------

// The arithmetic is that of signed 16-bit vector lanes: products wrap; sums saturate or wrap.
std::int16_t Multiply(int a, int b)
{
    return static_cast<std::int16_t>(a * b);
}

using Fit = std::int16_t (*)(int sum);

std::int16_t Wrapped(int value)
{
    return static_cast<std::int16_t>(value);
}

std::int16_t Saturated(int value)
{
    return static_cast<std::int16_t>(std::clamp(value, INT16_MIN, INT16_MAX));
}

// Floors: there is no rounding term.
unsigned char Clamped(std::int16_t value)
{
    return static_cast<unsigned char>(std::clamp(value >> 6, 0, 255));
}

struct Rgb
{
    unsigned char r;
    unsigned char g;
    unsigned char b;
};

template <Fit kFit>
Rgb RgbOf(int y, int u, int v)
{
    const std::int16_t luma = Multiply(74, y - 16);
    const std::int16_t blueU = Multiply(129, u - 128);
    const std::int16_t greenUV = kFit(Multiply(25, u - 128) + Multiply(52, v - 128));
    const std::int16_t redV = Multiply(102, v - 128);
    return {Clamped(kFit(luma + redV)), Clamped(kFit(luma - greenUV)), Clamped(kFit(luma + blueU))};
}

template <int kBytesPerPixel, int kStep, Fit kFit>
void PackRgbStep(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                 const unsigned char* v)
{
    for (int i = 0; i < kStep; ++i)
    {
        const Rgb rgb = RgbOf<kFit>(y[i], u[i / 2], v[i / 2]);
        *packed++ = rgb.b;
        *packed++ = rgb.g;
        *packed++ = rgb.r;
        if (kBytesPerPixel == 4)
        {
            *packed++ = 0;
        }
    }
}

template <int kBytesPerPixel, int kStep, Fit kFit>
void PackRgb(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
             std::ptrdiff_t pixels)
{
    for (std::ptrdiff_t x = 0; x < pixels; x += kStep)
    {
        const unsigned char* u = source.u + x / 2;
        const unsigned char* v = source.v + x / 2;
        PackRgbStep<kBytesPerPixel, kStep, kFit>(upper + kBytesPerPixel * x, source.upper + x, u,
                                                 v);
        PackRgbStep<kBytesPerPixel, kStep, kFit>(lower + kBytesPerPixel * x, source.lower + x, u,
                                                 v);
    }
}

// ---- Planar to 4:2:2 ----------------------------------------------------------------------------

// Which byte of a pair of pixels holds what; the second luma sample lies two bytes after the first.
struct Layout422
{
    int y;
    int u;
    int v;
};

constexpr Layout422 kYuy2 = {0, 1, 3};
constexpr Layout422 kUyvy = {1, 0, 2};

void Interleave8(const Layout422& layout, unsigned char* packed, const unsigned char* y,
                 const unsigned char* u, const unsigned char* v)
{
    for (int i = 0; i < 4; ++i, packed += 4, y += 2)
    {
        packed[layout.y] = y[0];
        packed[layout.y + 2] = y[1];
        packed[layout.u] = u[i];
        packed[layout.v] = v[i];
    }
}

void Pack422(const Layout422& layout, unsigned char* upper, unsigned char* lower,
             const PlanarSource& source, std::ptrdiff_t pixels)
{
    for (std::ptrdiff_t x = 0; x < pixels; x += 8)
    {
        const unsigned char* u = source.u + x / 2;
        const unsigned char* v = source.v + x / 2;
        Interleave8(layout, upper + 2 * x, source.upper + x, u, v);
        Interleave8(layout, lower + 2 * x, source.lower + x, u, v);
    }
}

// ---- RGB to YUV in units of 1/8192 --------------------------------------------------------------

// The input order is red first, deliberately the reverse of the output's.
unsigned char LumaOf(const unsigned char* pixel)
{
    return static_cast<unsigned char>(
        ((2105 * pixel[0] + 4129 * pixel[1] + 803 * pixel[2] + 4096) >> 13) + 16);
}

// Sums of four pixels: the shift by two more bits makes this their rounded mean.
unsigned char BlueDifferenceOf(int r, int g, int b)
{
    return static_cast<unsigned char>(((-1212 * r - 2384 * g + 3596 * b + 16384) >> 15) + 128);
}

unsigned char RedDifferenceOf(int r, int g, int b)
{
    return static_cast<unsigned char>(((3596 * r - 3015 * g - 582 * b + 16384) >> 15) + 128);
}

template <int kBytesPerPixel>
void UnpackRgb(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
               std::ptrdiff_t pixels)
{
    constexpr int kNext = kBytesPerPixel;
    for (std::ptrdiff_t x = 0; x < pixels; x += 2)
    {
        const unsigned char* top = upper + kBytesPerPixel * x;
        const unsigned char* bottom = lower + kBytesPerPixel * x;
        target.upper[x] = LumaOf(top);
        target.upper[x + 1] = LumaOf(top + kNext);
        target.lower[x] = LumaOf(bottom);
        target.lower[x + 1] = LumaOf(bottom + kNext);

        const int r = top[0] + top[kNext] + bottom[0] + bottom[kNext];
        const int g = top[1] + top[kNext + 1] + bottom[1] + bottom[kNext + 1];
        const int b = top[2] + top[kNext + 2] + bottom[2] + bottom[kNext + 2];
        target.u[x / 2] = BlueDifferenceOf(r, g, b);
        target.v[x / 2] = RedDifferenceOf(r, g, b);
    }
}

unsigned char RoundedMean(int a, int b)
{
    return static_cast<unsigned char>((a + b + 1) >> 1);
}

}  // namespace

void PackRgb24(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
               std::ptrdiff_t pixels)
{
    PackRgb<3, 8, Saturated>(upper, lower, source, pixels);
}

void PackRgb32(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
               std::ptrdiff_t pixels)
{
    PackRgb<4, 8, Saturated>(upper, lower, source, pixels);
}

// Its blue wraps where the other conversions' saturates: deliberate.
void PackArgb8888(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
                  std::ptrdiff_t pixels)
{
    PackRgb<4, 16, Wrapped>(upper, lower, source, pixels);
}

void PackYuy2(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
              std::ptrdiff_t pixels)
{
    Pack422(kYuy2, upper, lower, source, pixels);
}

void PackUyvy(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
              std::ptrdiff_t pixels)
{
    Pack422(kUyvy, upper, lower, source, pixels);
}

void UnpackRgb24(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels)
{
    UnpackRgb<3>(upper, lower, target, pixels);
}

void UnpackRgb32(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels)
{
    UnpackRgb<4>(upper, lower, target, pixels);
}

void UnpackYuy2(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                std::ptrdiff_t pixels)
{
    for (std::ptrdiff_t x = 0; x < pixels; x += 8)
    {
        const unsigned char* top = upper + 2 * x;
        const unsigned char* bottom = lower + 2 * x;
        for (std::ptrdiff_t i = 0; i < 8; ++i)
        {
            target.upper[x + i] = top[2 * i];
        }
        for (std::ptrdiff_t i = 0; i < 8; ++i)
        {
            target.lower[x + i] = bottom[2 * i];
        }
        for (std::ptrdiff_t i = 0; i < 4; ++i)
        {
            target.u[x / 2 + i] = RoundedMean(top[4 * i + 1], bottom[4 * i + 1]);
        }
        for (std::ptrdiff_t i = 0; i < 4; ++i)
        {
            target.v[x / 2 + i] = RoundedMean(top[4 * i + 3], bottom[4 * i + 3]);
        }
    }
}

void InterleaveYuy2(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels)
{
    for (std::ptrdiff_t x = 0; x < pixels; x += 8)
    {
        Interleave8(kYuy2, packed + 2 * x, y + x, u + x / 2, v + x / 2);
    }
}

void InterleaveUyvy(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels)
{
    for (std::ptrdiff_t x = 0; x < pixels; x += 8)
    {
        Interleave8(kUyvy, packed + 2 * x, y + x, u + x / 2, v + x / 2);
    }
}

}  // namespace ostrel::media::scalar
