#include "conversion_model.h"

#include <cmath>

namespace ostrel::test
{
namespace
{

// Every place is worked out from the number of its row, never carried from pair to pair.
struct Walk
{
    Walk(int width, int height, bool flip) : width(width), height(height), flip(flip) {}

    int RoundedWidth() const { return width <= 0 ? 0 : (width + 15) & ~15; }
    int Pairs() const { return height <= 0 ? 0 : (height + 1) / 2; }
    std::ptrdiff_t PackedRow(int row) const { return flip ? height - 1 - row : row; }

    int width;
    int height;
    bool flip;
};

int Floor(double value)
{
    return static_cast<int>(std::floor(value));
}

int Between(int low, int value, int high)
{
    return value < low ? low : value > high ? high : value;
}

unsigned char ClampedChannel(int sum)
{
    return static_cast<unsigned char>(Between(0, Floor(Between(-32768, sum, 32767) / 64.0), 255));
}

template <int kSize>
void Yv12ToRgb(unsigned char* packed, std::ptrdiff_t packedStride, const unsigned char* y,
               const unsigned char* u, const unsigned char* v, std::ptrdiff_t yStride,
               std::ptrdiff_t chromaStride, const Walk& walk)
{
    for (int pair = 0; pair < walk.Pairs(); ++pair)
    {
        for (int step = 0; step < walk.RoundedWidth() / 8; ++step)
        {
            for (int row = 2 * pair; row < 2 * pair + 2; ++row)
            {
                for (int x = 8 * step; x < 8 * step + 8; ++x)
                {
                    const ModelColour colour =
                        ModelRgb(y[row * yStride + x], u[pair * chromaStride + x / 2],
                                 v[pair * chromaStride + x / 2]);
                    unsigned char* out = packed + walk.PackedRow(row) * packedStride + kSize * x;
                    out[0] = static_cast<unsigned char>(colour.b);
                    out[1] = static_cast<unsigned char>(colour.g);
                    out[2] = static_cast<unsigned char>(colour.r);
                    if (kSize == 4)
                    {
                        out[3] = 0;
                    }
                }
            }
        }
    }
}

// Steps of 16 pixels, of the upper row and then of the lower one.
void Yuv420ToArgb(unsigned char* packed, std::ptrdiff_t packedStride, const unsigned char* y,
                  const unsigned char* u, const unsigned char* v, std::ptrdiff_t yStride,
                  std::ptrdiff_t chromaStride, const Walk& walk)
{
    for (int row = 0; row < walk.height; row += 2)
    {
        const int steps = walk.width > 0 ? ((walk.width - 1) >> 4) + 1 : 0;
        for (int i = 0; i < 32 * steps; ++i)
        {
            const int pixelRow = row + i % 32 / 16;
            const int x = i / 32 * 16 + i % 16;
            const std::ptrdiff_t chroma = row / 2 * chromaStride + x / 2;
            const ModelColour colour =
                ModelWrappedRgb(y[pixelRow * yStride + x], u[chroma], v[chroma]);
            const unsigned value = static_cast<unsigned>(colour.r) << 16 |
                                   static_cast<unsigned>(colour.g) << 8 |
                                   static_cast<unsigned>(colour.b);
            unsigned char* out =
                packed + walk.PackedRow(pixelRow) * packedStride + std::ptrdiff_t{4} * x;
            for (int byte = 0; byte < 4; ++byte)
            {
                out[byte] = static_cast<unsigned char>(value >> (8 * byte));
            }
        }
    }
}

// The low 16 bits of a sum, signed.
int Wrapped(int sum)
{
    const int low = sum & 0xFFFF;
    return low < 0x8000 ? low : low - 0x10000;
}

// One store of 16 bytes: eight pixels of one row.
void Store422(unsigned char* out, bool lumaFirst, const unsigned char* y, const unsigned char* u,
              const unsigned char* v)
{
    for (int i = 0; i < 16; ++i)
    {
        const bool isLuma = (i % 2 == 0) == lumaFirst;
        const unsigned char chroma = i % 4 < 2 ? u[i / 4] : v[i / 4];
        out[i] = isLuma ? y[i / 2] : chroma;
    }
}

void Yv12To422(bool lumaFirst, unsigned char* packed, std::ptrdiff_t packedStride,
               const unsigned char* y, const unsigned char* u, const unsigned char* v,
               std::ptrdiff_t yStride, std::ptrdiff_t chromaStride, const Walk& walk)
{
    for (int pair = 0; pair < walk.Pairs(); ++pair)
    {
        const unsigned char* yUpper = y + 2 * pair * yStride;
        const unsigned char* yLower = y + (2 * pair + 1) * yStride;
        const unsigned char* uRow = u + pair * chromaStride;
        const unsigned char* vRow = v + pair * chromaStride;
        unsigned char* upper = packed + walk.PackedRow(2 * pair) * packedStride;
        unsigned char* lower = packed + walk.PackedRow(2 * pair + 1) * packedStride;
        for (int x = 0; x < walk.RoundedWidth(); x += 16)
        {
            const int right = x + 8;
            Store422(upper + 2 * x, lumaFirst, yUpper + x, uRow + x / 2, vRow + x / 2);
            Store422(lower + 2 * x, lumaFirst, yLower + x, uRow + x / 2, vRow + x / 2);
            Store422(upper + 2 * right, lumaFirst, yUpper + right, uRow + right / 2,
                     vRow + right / 2);
            Store422(lower + 2 * right, lumaFirst, yLower + right, uRow + right / 2,
                     vRow + right / 2);
        }
    }
}

template <int kSize>
void RgbToYv12(const unsigned char* packed, std::ptrdiff_t packedStride, unsigned char* y,
               unsigned char* u, unsigned char* v, std::ptrdiff_t yStride,
               std::ptrdiff_t chromaStride, const Walk& walk)
{
    for (int pair = 0; pair < walk.Pairs(); ++pair)
    {
        for (int block = 0; block < walk.RoundedWidth() / 2; ++block)
        {
            int sums[3] = {0, 0, 0};
            for (int row = 2 * pair; row < 2 * pair + 2; ++row)
            {
                for (int x = 2 * block; x < 2 * block + 2; ++x)
                {
                    const unsigned char* in =
                        packed + walk.PackedRow(row) * packedStride + kSize * x;
                    y[row * yStride + x] =
                        static_cast<unsigned char>(ModelLuma(in[0], in[1], in[2]));
                    for (int channel = 0; channel < 3; ++channel)
                    {
                        sums[channel] += in[channel];
                    }
                }
            }
            u[pair * chromaStride + block] =
                static_cast<unsigned char>(ModelU(sums[0], sums[1], sums[2]));
            v[pair * chromaStride + block] =
                static_cast<unsigned char>(ModelV(sums[0], sums[1], sums[2]));
        }
    }
}

}  // namespace

ModelColour ModelRgb(int y, int u, int v)
{
    const int luma = 74 * (y - 16);
    return {ClampedChannel(luma + 102 * (v - 128)),
            ClampedChannel(luma - (25 * (u - 128) + 52 * (v - 128))),
            ClampedChannel(luma + 129 * (u - 128))};
}

ModelColour ModelWrappedRgb(int y, int u, int v)
{
    const int luma = Wrapped(74 * (y - 16));
    const int r = Wrapped(luma + Wrapped(102 * (v - 128)));
    const int g = Wrapped(Wrapped(luma - 25 * (u - 128)) - 52 * (v - 128));
    const int b = Wrapped(luma + Wrapped(129 * (u - 128)));
    return {Between(0, Floor(r / 64.0), 255), Between(0, Floor(g / 64.0), 255),
            Between(0, Floor(b / 64.0), 255)};
}

int ModelLuma(int r, int g, int b)
{
    return Floor((2105 * r + 4129 * g + 803 * b + 4096) / 8192.0) + 16;
}

int ModelU(int r, int g, int b)
{
    return (Floor((-1212 * r - 2384 * g + 3596 * b + 16384) / 32768.0) + 128) & 0xFF;
}

int ModelV(int r, int g, int b)
{
    return (Floor((3596 * r - 3015 * g - 582 * b + 16384) / 32768.0) + 128) & 0xFF;
}

void ModelYv12ToYuy2(unsigned char* packed, std::ptrdiff_t packedStride, const unsigned char* y,
                     const unsigned char* u, const unsigned char* v, std::ptrdiff_t yStride,
                     std::ptrdiff_t chromaStride, int width, int height, bool flip)
{
    Yv12To422(true, packed, packedStride, y, u, v, yStride, chromaStride,
              Walk(width, height, flip));
}

void ModelYv12ToUyvy(unsigned char* packed, std::ptrdiff_t packedStride, const unsigned char* y,
                     const unsigned char* u, const unsigned char* v, std::ptrdiff_t yStride,
                     std::ptrdiff_t chromaStride, int width, int height, bool flip)
{
    Yv12To422(false, packed, packedStride, y, u, v, yStride, chromaStride,
              Walk(width, height, flip));
}

void ModelYv12ToRgb24(unsigned char* packed, std::ptrdiff_t packedStride, const unsigned char* y,
                      const unsigned char* u, const unsigned char* v, std::ptrdiff_t yStride,
                      std::ptrdiff_t chromaStride, int width, int height, bool flip)
{
    Yv12ToRgb<3>(packed, packedStride, y, u, v, yStride, chromaStride, Walk(width, height, flip));
}

void ModelYv12ToRgb32(unsigned char* packed, std::ptrdiff_t packedStride, const unsigned char* y,
                      const unsigned char* u, const unsigned char* v, std::ptrdiff_t yStride,
                      std::ptrdiff_t chromaStride, int width, int height, bool flip)
{
    Yv12ToRgb<4>(packed, packedStride, y, u, v, yStride, chromaStride, Walk(width, height, flip));
}

void ModelYuv420ToArgb8888(unsigned char* packed, std::ptrdiff_t packedStride,
                           const unsigned char* y, const unsigned char* u, const unsigned char* v,
                           std::ptrdiff_t yStride, std::ptrdiff_t chromaStride, int width,
                           int height, bool flip)
{
    Yuv420ToArgb(packed, packedStride, y, u, v, yStride, chromaStride, Walk(width, height, flip));
}

void ModelRgb24ToYv12(const unsigned char* packed, std::ptrdiff_t packedStride, unsigned char* y,
                      unsigned char* u, unsigned char* v, std::ptrdiff_t yStride,
                      std::ptrdiff_t chromaStride, int width, int height, bool flip)
{
    RgbToYv12<3>(packed, packedStride, y, u, v, yStride, chromaStride, Walk(width, height, flip));
}

void ModelRgb32ToYv12(const unsigned char* packed, std::ptrdiff_t packedStride, unsigned char* y,
                      unsigned char* u, unsigned char* v, std::ptrdiff_t yStride,
                      std::ptrdiff_t chromaStride, int width, int height, bool flip)
{
    RgbToYv12<4>(packed, packedStride, y, u, v, yStride, chromaStride, Walk(width, height, flip));
}

void ModelYuy2ToYv12(const unsigned char* packed, std::ptrdiff_t packedStride, unsigned char* y,
                     unsigned char* u, unsigned char* v, std::ptrdiff_t yStride,
                     std::ptrdiff_t chromaStride, int width, int height, bool flip)
{
    const Walk walk(width, height, flip);
    for (int pair = 0; pair < walk.Pairs(); ++pair)
    {
        const unsigned char* upper = packed + walk.PackedRow(2 * pair) * packedStride;
        const unsigned char* lower = packed + walk.PackedRow(2 * pair + 1) * packedStride;
        for (int step = 0; step < walk.RoundedWidth() / 8; ++step)
        {
            for (int x = 8 * step; x < 8 * step + 8; ++x)
            {
                y[2 * pair * yStride + x] = upper[2 * x];
            }
            for (int x = 8 * step; x < 8 * step + 8; ++x)
            {
                y[(2 * pair + 1) * yStride + x] = lower[2 * x];
            }
            for (int i = 4 * step; i < 4 * step + 4; ++i)
            {
                const double sum = upper[4 * i + 1] + lower[4 * i + 1];
                u[pair * chromaStride + i] = static_cast<unsigned char>(std::ceil(sum / 2));
            }
            for (int i = 4 * step; i < 4 * step + 4; ++i)
            {
                const double sum = upper[4 * i + 3] + lower[4 * i + 3];
                v[pair * chromaStride + i] = static_cast<unsigned char>(std::ceil(sum / 2));
            }
        }
    }
}

}  // namespace ostrel::test
