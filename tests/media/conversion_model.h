/// @file
/// What the colour conversions must leave in memory, worked out byte by byte: a model written apart
/// from the library, slow and plain.
#pragma once

#include <cstddef>

namespace ostrel::test
{

struct ModelColour
{
    int r;
    int g;
    int b;
};

struct ModelYuv
{
    int y;
    int u;
    int v;
};

/// One pixel of YV12 as RGB.
ModelColour ModelRgb(int y, int u, int v);

/// One pixel of YUV 4:2:0 as the 32-bit conversion for displays makes it: sums wrap in 16 bits.
ModelColour ModelWrappedRgb(int y, int u, int v);

/// Luma of one pixel.
int ModelLuma(int r, int g, int b);

/// The chroma of a block of four pixels, from the sums of their channels.
int ModelU(int r, int g, int b);
int ModelV(int r, int g, int b);

// The frame walks. The arguments are those of the kernels.

void ModelYv12ToYuy2(unsigned char* packed, std::ptrdiff_t packedStride, const unsigned char* y,
                     const unsigned char* u, const unsigned char* v, std::ptrdiff_t yStride,
                     std::ptrdiff_t chromaStride, int width, int height, bool flip);
void ModelYv12ToUyvy(unsigned char* packed, std::ptrdiff_t packedStride, const unsigned char* y,
                     const unsigned char* u, const unsigned char* v, std::ptrdiff_t yStride,
                     std::ptrdiff_t chromaStride, int width, int height, bool flip);
void ModelYv12ToRgb24(unsigned char* packed, std::ptrdiff_t packedStride, const unsigned char* y,
                      const unsigned char* u, const unsigned char* v, std::ptrdiff_t yStride,
                      std::ptrdiff_t chromaStride, int width, int height, bool flip);
void ModelYv12ToRgb32(unsigned char* packed, std::ptrdiff_t packedStride, const unsigned char* y,
                      const unsigned char* u, const unsigned char* v, std::ptrdiff_t yStride,
                      std::ptrdiff_t chromaStride, int width, int height, bool flip);
void ModelYuv420ToArgb8888(unsigned char* packed, std::ptrdiff_t packedStride,
                           const unsigned char* y, const unsigned char* u, const unsigned char* v,
                           std::ptrdiff_t yStride, std::ptrdiff_t chromaStride, int width,
                           int height, bool flip);
void ModelRgb24ToYv12(const unsigned char* packed, std::ptrdiff_t packedStride, unsigned char* y,
                      unsigned char* u, unsigned char* v, std::ptrdiff_t yStride,
                      std::ptrdiff_t chromaStride, int width, int height, bool flip);
void ModelRgb32ToYv12(const unsigned char* packed, std::ptrdiff_t packedStride, unsigned char* y,
                      unsigned char* u, unsigned char* v, std::ptrdiff_t yStride,
                      std::ptrdiff_t chromaStride, int width, int height, bool flip);
void ModelYuy2ToYv12(const unsigned char* packed, std::ptrdiff_t packedStride, unsigned char* y,
                     unsigned char* u, unsigned char* v, std::ptrdiff_t yStride,
                     std::ptrdiff_t chromaStride, int width, int height, bool flip);

}  // namespace ostrel::test
